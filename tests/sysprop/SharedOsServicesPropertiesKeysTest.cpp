// Walks every accessor with its expected key, written out independently of the library's
// table, so a wrong or duplicated key fails here; an accessor of the wrong type does not compile.

#include <sysprop/SharedOsServicesProperties.h>

#include <android-base/properties.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

namespace {

#define P "persist.device_config.halcyon_shared_os_services."

template <typename T>
struct Entry {
    const char* accessor;
    const char* key;
    std::optional<T> (*read)();
};
// E prefixes the key; the one accessor without the prefix is written out in full.
constexpr char kBareKey[] = "halcyon_mobile_telemetry_enable_hc_archived_upload";
#define E(name, suffix) \
    { #name, P suffix, &props::name }

const Entry<bool> kBools[] = {
        E(arvr_system_state_event, "halcyon_arvr_system_state_event"),
        E(audio_aaudio_mmap, "fennel_audio_aaudio_mmap"),
        E(audio_aaudio_mmap_capture, "fennel_audio_aaudio_mmap_capture"),
        E(audio_enable_eps_mixer, "fennel_audio_enable_eps_mixer"),
        E(audio_enable_multi_volume_streams, "fennel_audio_enable_multi_volume_streams"),
        E(audio_eps_mixer_for_nonspatial_streams, "fennel_audio_eps_mixer_for_nonspatial_streams"),
        E(crash_report_collect_logs, "tarn_crash_report_collect_logs"),
        E(crash_report_extended_logs_enabled, "crash_report_extended_logs_enabled"),
        E(enable_6dof_inactive_heuristic, "halcyon_enable_6dof_inactive_heuristic"),
        E(enable_debugging_at_scale, "sorrel_enable_debugging_at_scale"),
        E(enable_fg_apps_cpu_events, "sorrel_enable_fg_apps_cpu_events"),
        E(enable_flashswap, "halcyon_enable_flashswap"),
        E(enable_mr_data_permission, "halcyon_enable_mr_data_permission"),
        E(enable_strata_composer, "bracken_enable_strata_composer"),
        E(enforce_memory_sla, "enforce_memory_sla"),
        E(zeph_enable_crcs_zsf_systemmodes, "zeph_enable_crcs_zsf_systemmodes"),
        E(mobile_perfstream_cpu_metric, "halcyon_mobile_perfstream_cpu_metric"),
        E(mobile_perfstream_memory_collector, "halcyon_mobile_perfstream_memory_collector"),
        E(mobile_perfstream_memory_extended_collector,
          "halcyon_mobile_perfstream_memory_extended_collector"),
        E(mobile_perfstream_zram_idle_collector, "halcyon_mobile_perfstream_zram_idle_collector"),
        E(mobile_perfstream_zram, "halcyon_mobile_perfstream_zram"),
        E(mobile_rlsu_enabled, "halcyon_mobile_rlsu_enabled"),
        E(bracken_extended_logs_enabled, "bracken_extended_logs_enabled"),
        E(halcyon_disable_use_minfree_levels, "halcyon_disable_use_minfree_levels"),
        E(halcyon_memcg_cgroupv2, "halcyon_memcg_cgroupv2"),
        E(halcyon_opt_l3_min, "halcyon_opt_l3_min"),
        E(halcyon_schedutil, "halcyon_schedutil"),
        E(halcyon_shared_runq, "halcyon_shared_runq"),
        E(halcyon_soft_realtime, "halcyon_soft_realtime"),
        E(enable_diagnostics_collector_correlation,
          "oscontrol_enable_diagnostic_collector_service_corr"),
        E(enable_eps_2d_window_spatialization, "fennel_audio_enable_eps_2d_window_spatialization"),
        E(lumo_enable_premium_ui, "halcyon_lumo_enable_premium_ui"),
        E(use_volumetric_window_tracking_access_api,
          "zeph_use_volumetric_window_tracking_access_api"),
        E(oscontrol_enable_telemetry_session, "oscontrol_enable_telemetry_session"),
        E(oscontrol_on_demand_telemetry_statsd_report_enable,
          "oscontrol_on_demand_telemetry_statsd_report_enable"),
        E(oscontrol_on_demand_telemetry_enable, "oscontrol_on_demand_telemetry_enable"),
        E(telemetry_disable_offline_upload, "halcyon_mobile_telemetry_disable_offline_upload"),
        E(telemetry_enable_dt_event_stats, "halcyon_mobile_enable_dt_event_stats"),
        E(telemetry_enable_event_hc, "halcyon_mobile_telemetry_enable_event_hc"),
        E(telemetry_enable_wrenlogger_hc, "halcyon_mobile_telemetry_enable_wrenlogger_hc"),
        {"telemetry_enable_hc_archived_upload", kBareKey,
         &props::telemetry_enable_hc_archived_upload},
        E(telemetry_enable_history_store, "halcyon_mobile_telemetry_enable_history_store"),
        E(telemetry_enable_network_manager, "halcyon_mobile_telemetry_enable_network_manager"),
        E(telemetry_enable_tpx_hc, "halcyon_mobile_telemetry_enable_tpx_hc"),
        E(telemetry_enable_verification, "halcyon_mobile_telemetry_enable_verification"),
        E(telemetry_enable_workflow_sessions, "bracken_telemetry_enable_workflow_sessions"),
        E(telemetry_enforce_permission, "halcyon_mobile_telemetry_enforce_permission"),
        E(telemetry_event_filtering_dev, "halcyon_mobile_telemetry_event_filtering_dev"),
        E(telemetry_event_filtering_dogfooders,
          "halcyon_mobile_telemetry_event_filtering_dogfooders"),
        E(telemetry_intake_monitor, "halcyon_mobile_telemetry_intake_monitor"),
        E(telemetry_legacy_sess_disable, "halcyon_mobile_native_telemetry_legacy_sess_disable"),
        E(telemetry_low_latency_allow_list, "halcyon_mobile_telemetry_low_latency_allow_list"),
        E(telemetry_purge_event, "halcyon_mobile_telemetry_purge_event"),
        E(telemetry_rate_limit_per_caller, "halcyon_mobile_telemetry_rate_limit_per_caller"),
        E(telemetry_session_donstate_redundant,
          "halcyon_mobile_telemetry_session_donstate_redundant"),
        E(telemetry_set_default_rate_limit, "halcyon_mobile_telemetry_set_default_rate_limit"),
        E(telemetry_enable_graceful_shutdown, "halcyon_mobile_telemetry_enable_graceful_shutdown"),
        E(telemetry_max_exp_backoff, "halcyon_mobile_telemetry_max_exp_backoff"),
        E(xr_external_display, "xr_external_display"),
};
const Entry<int> kInts[] = {
        E(jemalloc_low_ram_performance_mode, "jemalloc_low_ram_performance_mode"),
        E(jemalloc_normal_ram_performance_mode, "jemalloc_normal_ram_performance_mode"),
        E(mobile_perfstream_memory_psi_stall_threshold,
          "halcyon_mobile_perfstream_memory_psi_stall_threshold"),
        E(mobile_perfstream_memory_psi_window_ms, "halcyon_mobile_perfstream_memory_psi_window_ms"),
        E(mobile_perfstream_zram_idle_threshold, "halcyon_mobile_perfstream_zram_idle_threshold"),
        E(mobile_perfstream_zram_idle_histo_bucket,
          "halcyon_mobile_perfstream_zram_idle_histo_bucket"),
        E(bracken_extended_logs_cache_size, "bracken_extended_logs_cache_size"),
        E(bracken_extended_logs_min_log_priority_level,
          "bracken_extended_logs_min_log_priority_level"),
        E(bracken_extended_logs_number_of_cache_rotations,
          "bracken_extended_logs_number_of_cache_rotations"),
        E(bracken_extended_logs_rotation_file_size, "bracken_extended_logs_rotation_file_size"),
        E(bracken_extended_logs_rotation_num_files, "bracken_extended_logs_rotation_num_files"),
        E(bracken_extended_logs_write_throttling_size,
          "bracken_extended_logs_write_throttling_size"),
        E(bracken_extended_logs_write_throttling_span,
          "bracken_extended_logs_write_throttling_span"),
        E(bracken_reserve_mb, "bracken_reserve_mb"),
        E(halcyon_app_compact_level, "app_compact_level"),
        E(halcyon_idle_detect_heuristic, "halcyon_idle_detect_heuristic"),
        E(perfstream_instruction_sampler_sampling_period_us,
          "halcyon_perfstream_instruction_sampler_sampling_period_us"),
};
const Entry<std::string> kStrings[] = {
        E(audio_aaudio_mmap_allowlist, "fennel_audio_aaudio_mmap_allowlist"),
        E(audio_aaudio_mmap_capture_allowlist, "fennel_audio_aaudio_mmap_capture_allowlist"),
        E(audio_aaudio_mmap_capture_denylist, "fennel_audio_aaudio_mmap_capture_denylist"),
        E(audio_aaudio_mmap_denylist, "fennel_audio_aaudio_mmap_denylist"),
        E(halcyon_telemetry_choice, "halcyon_telemetry_choice"),
};

std::vector<std::string> accessorsWithValue() {
    std::vector<std::string> names;
    auto collect = [&](const auto& table) {
        for (const auto& entry : table)
            if (entry.read().has_value()) names.push_back(entry.accessor);
    };
    collect(kBools);
    collect(kInts);
    collect(kStrings);
    return names;
}

// Sets each key to a value that parses for its type; exactly its own accessor must see it.
template <typename T, size_t N>
void checkEachKey(const Entry<T> (&table)[N], const char* text, const T& expected) {
    for (const auto& entry : table) {
        SCOPED_TRACE(entry.key);
        ASSERT_TRUE(android::base::SetProperty(entry.key, text));
        EXPECT_EQ(entry.read(), std::optional<T>(expected)) << entry.accessor;
        EXPECT_EQ(accessorsWithValue(), std::vector<std::string>{entry.accessor});
        ASSERT_TRUE(android::base::SetProperty(entry.key, ""));
    }
}

TEST(SharedOsServicesPropertiesKeys, EachKeyReachesExactlyItsAccessor) {
    EXPECT_EQ(accessorsWithValue(), std::vector<std::string>{});  // all empty while unset
    checkEachKey(kBools, "true", true);
    checkEachKey(kInts, "-17", -17);
    checkEachKey(kStrings, "a,b", std::string("a,b"));
}

TEST(SharedOsServicesPropertiesKeys, ArchivedUploadReadsOnlyTheBareKey) {
    ASSERT_TRUE(android::base::SetProperty(std::string(P) + kBareKey, "true"));
    EXPECT_EQ(props::telemetry_enable_hc_archived_upload(), std::nullopt);

    ASSERT_TRUE(android::base::SetProperty(kBareKey, "false"));
    EXPECT_EQ(props::telemetry_enable_hc_archived_upload(), std::optional<bool>(false));
}

}  // namespace
