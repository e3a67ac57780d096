// Walks every accessor with its expected key, written out independently of the library's
// table, so a wrong or duplicated key, or an accessor of the wrong type, fails here.

#include <sysprop/SharedOsServicesProperties.h>

#include <android-base/properties.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

namespace {

#define KEY_PREFIX "persist.device_config.halcyon_shared_os_services."

struct Entry {
    const char* accessor;
    std::string key;
    const char* valueText;              // a value that parses for the accessor's type
    std::function<bool()> hasExpected;  // true when the accessor returns that value
    std::function<bool()> hasValue;
};

#define BOOL_ENTRY(name, key)                                                    \
    Entry {                                                                      \
#name, key, "true", [] { return props::name() == std::optional<bool>(true); }, \
            [] { return props::name().has_value(); } \
    }
#define INT_ENTRY(name, key)                                                     \
    Entry {                                                                      \
#name, key, "-17", [] { return props::name() == std::optional<int>(-17); },    \
            [] { return props::name().has_value(); } \
    }
#define STRING_ENTRY(name, key)                                                         \
    Entry {                                                                             \
#name, key, "a,b", [] { return props::name() == std::optional<std::string>("a,b"); }, \
            [] { return props::name().has_value(); } \
    }

const std::vector<Entry>& allEntries() {
    static const std::vector<Entry> entries = {
            BOOL_ENTRY(arvr_system_state_event, KEY_PREFIX "halcyon_arvr_system_state_event"),
            BOOL_ENTRY(audio_aaudio_mmap, KEY_PREFIX "fennel_audio_aaudio_mmap"),
            BOOL_ENTRY(audio_aaudio_mmap_capture, KEY_PREFIX "fennel_audio_aaudio_mmap_capture"),
            BOOL_ENTRY(audio_enable_eps_mixer, KEY_PREFIX "fennel_audio_enable_eps_mixer"),
            BOOL_ENTRY(audio_enable_multi_volume_streams,
                       KEY_PREFIX "fennel_audio_enable_multi_volume_streams"),
            BOOL_ENTRY(audio_eps_mixer_for_nonspatial_streams,
                       KEY_PREFIX "fennel_audio_eps_mixer_for_nonspatial_streams"),
            BOOL_ENTRY(crash_report_collect_logs, KEY_PREFIX "tarn_crash_report_collect_logs"),
            BOOL_ENTRY(crash_report_extended_logs_enabled,
                       KEY_PREFIX "crash_report_extended_logs_enabled"),
            BOOL_ENTRY(enable_6dof_inactive_heuristic,
                       KEY_PREFIX "halcyon_enable_6dof_inactive_heuristic"),
            BOOL_ENTRY(enable_debugging_at_scale, KEY_PREFIX "sorrel_enable_debugging_at_scale"),
            BOOL_ENTRY(enable_fg_apps_cpu_events, KEY_PREFIX "sorrel_enable_fg_apps_cpu_events"),
            BOOL_ENTRY(enable_flashswap, KEY_PREFIX "halcyon_enable_flashswap"),
            BOOL_ENTRY(enable_mr_data_permission, KEY_PREFIX "halcyon_enable_mr_data_permission"),
            BOOL_ENTRY(enable_strata_composer, KEY_PREFIX "bracken_enable_strata_composer"),
            BOOL_ENTRY(enforce_memory_sla, KEY_PREFIX "enforce_memory_sla"),
            BOOL_ENTRY(zeph_enable_crcs_zsf_systemmodes,
                       KEY_PREFIX "zeph_enable_crcs_zsf_systemmodes"),
            BOOL_ENTRY(mobile_perfstream_cpu_metric,
                       KEY_PREFIX "halcyon_mobile_perfstream_cpu_metric"),
            BOOL_ENTRY(mobile_perfstream_memory_collector,
                       KEY_PREFIX "halcyon_mobile_perfstream_memory_collector"),
            BOOL_ENTRY(mobile_perfstream_memory_extended_collector,
                       KEY_PREFIX "halcyon_mobile_perfstream_memory_extended_collector"),
            BOOL_ENTRY(mobile_perfstream_zram_idle_collector,
                       KEY_PREFIX "halcyon_mobile_perfstream_zram_idle_collector"),
            BOOL_ENTRY(mobile_perfstream_zram, KEY_PREFIX "halcyon_mobile_perfstream_zram"),
            BOOL_ENTRY(mobile_rlsu_enabled, KEY_PREFIX "halcyon_mobile_rlsu_enabled"),
            BOOL_ENTRY(bracken_extended_logs_enabled, KEY_PREFIX "bracken_extended_logs_enabled"),
            BOOL_ENTRY(halcyon_disable_use_minfree_levels,
                       KEY_PREFIX "halcyon_disable_use_minfree_levels"),
            BOOL_ENTRY(halcyon_memcg_cgroupv2, KEY_PREFIX "halcyon_memcg_cgroupv2"),
            BOOL_ENTRY(halcyon_opt_l3_min, KEY_PREFIX "halcyon_opt_l3_min"),
            BOOL_ENTRY(halcyon_schedutil, KEY_PREFIX "halcyon_schedutil"),
            BOOL_ENTRY(halcyon_shared_runq, KEY_PREFIX "halcyon_shared_runq"),
            BOOL_ENTRY(halcyon_soft_realtime, KEY_PREFIX "halcyon_soft_realtime"),
            BOOL_ENTRY(enable_diagnostics_collector_correlation,
                       KEY_PREFIX "oscontrol_enable_diagnostic_collector_service_corr"),
            BOOL_ENTRY(enable_eps_2d_window_spatialization,
                       KEY_PREFIX "fennel_audio_enable_eps_2d_window_spatialization"),
            BOOL_ENTRY(lumo_enable_premium_ui, KEY_PREFIX "halcyon_lumo_enable_premium_ui"),
            BOOL_ENTRY(use_volumetric_window_tracking_access_api,
                       KEY_PREFIX "zeph_use_volumetric_window_tracking_access_api"),
            BOOL_ENTRY(oscontrol_enable_telemetry_session,
                       KEY_PREFIX "oscontrol_enable_telemetry_session"),
            BOOL_ENTRY(oscontrol_on_demand_telemetry_statsd_report_enable,
                       KEY_PREFIX "oscontrol_on_demand_telemetry_statsd_report_enable"),
            BOOL_ENTRY(oscontrol_on_demand_telemetry_enable,
                       KEY_PREFIX "oscontrol_on_demand_telemetry_enable"),
            BOOL_ENTRY(telemetry_disable_offline_upload,
                       KEY_PREFIX "halcyon_mobile_telemetry_disable_offline_upload"),
            BOOL_ENTRY(telemetry_enable_dt_event_stats,
                       KEY_PREFIX "halcyon_mobile_enable_dt_event_stats"),
            BOOL_ENTRY(telemetry_enable_event_hc,
                       KEY_PREFIX "halcyon_mobile_telemetry_enable_event_hc"),
            BOOL_ENTRY(telemetry_enable_wrenlogger_hc,
                       KEY_PREFIX "halcyon_mobile_telemetry_enable_wrenlogger_hc"),
            BOOL_ENTRY(telemetry_enable_hc_archived_upload,
                       "halcyon_mobile_telemetry_enable_hc_archived_upload"),
            BOOL_ENTRY(telemetry_enable_history_store,
                       KEY_PREFIX "halcyon_mobile_telemetry_enable_history_store"),
            BOOL_ENTRY(telemetry_enable_network_manager,
                       KEY_PREFIX "halcyon_mobile_telemetry_enable_network_manager"),
            BOOL_ENTRY(telemetry_enable_tpx_hc,
                       KEY_PREFIX "halcyon_mobile_telemetry_enable_tpx_hc"),
            BOOL_ENTRY(telemetry_enable_verification,
                       KEY_PREFIX "halcyon_mobile_telemetry_enable_verification"),
            BOOL_ENTRY(telemetry_enable_workflow_sessions,
                       KEY_PREFIX "bracken_telemetry_enable_workflow_sessions"),
            BOOL_ENTRY(telemetry_enforce_permission,
                       KEY_PREFIX "halcyon_mobile_telemetry_enforce_permission"),
            BOOL_ENTRY(telemetry_event_filtering_dev,
                       KEY_PREFIX "halcyon_mobile_telemetry_event_filtering_dev"),
            BOOL_ENTRY(telemetry_event_filtering_dogfooders,
                       KEY_PREFIX "halcyon_mobile_telemetry_event_filtering_dogfooders"),
            BOOL_ENTRY(telemetry_intake_monitor,
                       KEY_PREFIX "halcyon_mobile_telemetry_intake_monitor"),
            BOOL_ENTRY(telemetry_legacy_sess_disable,
                       KEY_PREFIX "halcyon_mobile_native_telemetry_legacy_sess_disable"),
            BOOL_ENTRY(telemetry_low_latency_allow_list,
                       KEY_PREFIX "halcyon_mobile_telemetry_low_latency_allow_list"),
            BOOL_ENTRY(telemetry_purge_event, KEY_PREFIX "halcyon_mobile_telemetry_purge_event"),
            BOOL_ENTRY(telemetry_rate_limit_per_caller,
                       KEY_PREFIX "halcyon_mobile_telemetry_rate_limit_per_caller"),
            BOOL_ENTRY(telemetry_session_donstate_redundant,
                       KEY_PREFIX "halcyon_mobile_telemetry_session_donstate_redundant"),
            BOOL_ENTRY(telemetry_set_default_rate_limit,
                       KEY_PREFIX "halcyon_mobile_telemetry_set_default_rate_limit"),
            BOOL_ENTRY(telemetry_enable_graceful_shutdown,
                       KEY_PREFIX "halcyon_mobile_telemetry_enable_graceful_shutdown"),
            BOOL_ENTRY(telemetry_max_exp_backoff,
                       KEY_PREFIX "halcyon_mobile_telemetry_max_exp_backoff"),
            BOOL_ENTRY(xr_external_display, KEY_PREFIX "xr_external_display"),
            INT_ENTRY(jemalloc_low_ram_performance_mode,
                      KEY_PREFIX "jemalloc_low_ram_performance_mode"),
            INT_ENTRY(jemalloc_normal_ram_performance_mode,
                      KEY_PREFIX "jemalloc_normal_ram_performance_mode"),
            INT_ENTRY(mobile_perfstream_memory_psi_stall_threshold,
                      KEY_PREFIX "halcyon_mobile_perfstream_memory_psi_stall_threshold"),
            INT_ENTRY(mobile_perfstream_memory_psi_window_ms,
                      KEY_PREFIX "halcyon_mobile_perfstream_memory_psi_window_ms"),
            INT_ENTRY(mobile_perfstream_zram_idle_threshold,
                      KEY_PREFIX "halcyon_mobile_perfstream_zram_idle_threshold"),
            INT_ENTRY(mobile_perfstream_zram_idle_histo_bucket,
                      KEY_PREFIX "halcyon_mobile_perfstream_zram_idle_histo_bucket"),
            INT_ENTRY(bracken_extended_logs_cache_size,
                      KEY_PREFIX "bracken_extended_logs_cache_size"),
            INT_ENTRY(bracken_extended_logs_min_log_priority_level,
                      KEY_PREFIX "bracken_extended_logs_min_log_priority_level"),
            INT_ENTRY(bracken_extended_logs_number_of_cache_rotations,
                      KEY_PREFIX "bracken_extended_logs_number_of_cache_rotations"),
            INT_ENTRY(bracken_extended_logs_rotation_file_size,
                      KEY_PREFIX "bracken_extended_logs_rotation_file_size"),
            INT_ENTRY(bracken_extended_logs_rotation_num_files,
                      KEY_PREFIX "bracken_extended_logs_rotation_num_files"),
            INT_ENTRY(bracken_extended_logs_write_throttling_size,
                      KEY_PREFIX "bracken_extended_logs_write_throttling_size"),
            INT_ENTRY(bracken_extended_logs_write_throttling_span,
                      KEY_PREFIX "bracken_extended_logs_write_throttling_span"),
            INT_ENTRY(bracken_reserve_mb, KEY_PREFIX "bracken_reserve_mb"),
            INT_ENTRY(halcyon_app_compact_level, KEY_PREFIX "app_compact_level"),
            INT_ENTRY(halcyon_idle_detect_heuristic, KEY_PREFIX "halcyon_idle_detect_heuristic"),
            INT_ENTRY(perfstream_instruction_sampler_sampling_period_us,
                      KEY_PREFIX "halcyon_perfstream_instruction_sampler_sampling_period_us"),
            STRING_ENTRY(audio_aaudio_mmap_allowlist,
                         KEY_PREFIX "fennel_audio_aaudio_mmap_allowlist"),
            STRING_ENTRY(audio_aaudio_mmap_capture_allowlist,
                         KEY_PREFIX "fennel_audio_aaudio_mmap_capture_allowlist"),
            STRING_ENTRY(audio_aaudio_mmap_capture_denylist,
                         KEY_PREFIX "fennel_audio_aaudio_mmap_capture_denylist"),
            STRING_ENTRY(audio_aaudio_mmap_denylist,
                         KEY_PREFIX "fennel_audio_aaudio_mmap_denylist"),
            STRING_ENTRY(halcyon_telemetry_choice, KEY_PREFIX "halcyon_telemetry_choice"),
    };
    return entries;
}

std::vector<std::string> accessorsWithValue() {
    std::vector<std::string> names;
    for (const Entry& entry : allEntries()) {
        if (entry.hasValue()) names.push_back(entry.accessor);
    }
    return names;
}

TEST(SharedOsServicesPropertiesKeys, CoversEveryAccessor) {
    EXPECT_EQ(allEntries().size(), 81u);
}

TEST(SharedOsServicesPropertiesKeys, EveryAccessorIsEmptyWhileUnset) {
    EXPECT_EQ(accessorsWithValue(), std::vector<std::string>{});
}

TEST(SharedOsServicesPropertiesKeys, EachKeyReachesExactlyItsAccessor) {
    for (const Entry& entry : allEntries()) {
        SCOPED_TRACE(entry.key);
        ASSERT_TRUE(android::base::SetProperty(entry.key, entry.valueText));
        EXPECT_TRUE(entry.hasExpected()) << entry.accessor << " did not read its key";
        EXPECT_EQ(accessorsWithValue(), std::vector<std::string>{entry.accessor});
        ASSERT_TRUE(android::base::SetProperty(entry.key, ""));
    }
}

TEST(SharedOsServicesPropertiesKeys, ArchivedUploadReadsOnlyTheBareKey) {
    ASSERT_TRUE(android::base::SetProperty(
            KEY_PREFIX "halcyon_mobile_telemetry_enable_hc_archived_upload", "true"));
    EXPECT_EQ(props::telemetry_enable_hc_archived_upload(), std::nullopt);

    ASSERT_TRUE(android::base::SetProperty("halcyon_mobile_telemetry_enable_hc_archived_upload",
                                           "false"));
    EXPECT_EQ(props::telemetry_enable_hc_archived_upload(), std::optional<bool>(false));
}

}  // namespace
