// Walks every accessor with its expected key, written out independently of the library's
// table, so a wrong or duplicated key fails here, and so does an accessor of another type.

#include <sysprop/SharedOsServicesProperties.h>

#include <android-base/properties.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

namespace {

#define P "persist.device_config.halcyon_shared_os_services."

// "1" parses for every type; only an accessor of type T fits readsOne<T, ...>.
template <typename T>
const T kOne = 1;
template <>
const std::string kOne<std::string> = "1";

template <typename T, std::optional<T> (*accessor)()>
bool readsOne() {
    return accessor() == kOne<T>;
}

struct Entry {
    const char* key;
    bool (*readsOne)();
};
#define E(type, accessor, key) \
    { key, &readsOne<type, &props::accessor> }

// clang-format off
const Entry kEntries[] = {
        E(bool,         arvr_system_state_event,                             P "halcyon_arvr_system_state_event"),
        E(bool,         audio_aaudio_mmap,                                   P "fennel_audio_aaudio_mmap"),
        E(bool,         audio_aaudio_mmap_capture,                           P "fennel_audio_aaudio_mmap_capture"),
        E(bool,         audio_enable_eps_mixer,                              P "fennel_audio_enable_eps_mixer"),
        E(bool,         audio_enable_multi_volume_streams,                   P "fennel_audio_enable_multi_volume_streams"),
        E(bool,         audio_eps_mixer_for_nonspatial_streams,              P "fennel_audio_eps_mixer_for_nonspatial_streams"),
        E(bool,         crash_report_collect_logs,                           P "tarn_crash_report_collect_logs"),
        E(bool,         crash_report_extended_logs_enabled,                  P "crash_report_extended_logs_enabled"),
        E(bool,         enable_6dof_inactive_heuristic,                      P "halcyon_enable_6dof_inactive_heuristic"),
        E(bool,         enable_debugging_at_scale,                           P "sorrel_enable_debugging_at_scale"),
        E(bool,         enable_fg_apps_cpu_events,                           P "sorrel_enable_fg_apps_cpu_events"),
        E(bool,         enable_flashswap,                                    P "halcyon_enable_flashswap"),
        E(bool,         enable_mr_data_permission,                           P "halcyon_enable_mr_data_permission"),
        E(bool,         enable_strata_composer,                              P "bracken_enable_strata_composer"),
        E(bool,         enforce_memory_sla,                                  P "enforce_memory_sla"),
        E(bool,         zeph_enable_crcs_zsf_systemmodes,                    P "zeph_enable_crcs_zsf_systemmodes"),
        E(bool,         mobile_perfstream_cpu_metric,                        P "halcyon_mobile_perfstream_cpu_metric"),
        E(bool,         mobile_perfstream_memory_collector,                  P "halcyon_mobile_perfstream_memory_collector"),
        E(bool,         mobile_perfstream_memory_extended_collector,         P "halcyon_mobile_perfstream_memory_extended_collector"),
        E(bool,         mobile_perfstream_zram_idle_collector,               P "halcyon_mobile_perfstream_zram_idle_collector"),
        E(bool,         mobile_perfstream_zram,                              P "halcyon_mobile_perfstream_zram"),
        E(bool,         mobile_rlsu_enabled,                                 P "halcyon_mobile_rlsu_enabled"),
        E(bool,         bracken_extended_logs_enabled,                       P "bracken_extended_logs_enabled"),
        E(bool,         halcyon_disable_use_minfree_levels,                  P "halcyon_disable_use_minfree_levels"),
        E(bool,         halcyon_memcg_cgroupv2,                              P "halcyon_memcg_cgroupv2"),
        E(bool,         halcyon_opt_l3_min,                                  P "halcyon_opt_l3_min"),
        E(bool,         halcyon_schedutil,                                   P "halcyon_schedutil"),
        E(bool,         halcyon_shared_runq,                                 P "halcyon_shared_runq"),
        E(bool,         halcyon_soft_realtime,                               P "halcyon_soft_realtime"),
        E(bool,         enable_diagnostics_collector_correlation,            P "oscontrol_enable_diagnostic_collector_service_corr"),
        E(bool,         enable_eps_2d_window_spatialization,                 P "fennel_audio_enable_eps_2d_window_spatialization"),
        E(bool,         lumo_enable_premium_ui,                              P "halcyon_lumo_enable_premium_ui"),
        E(bool,         use_volumetric_window_tracking_access_api,           P "zeph_use_volumetric_window_tracking_access_api"),
        E(bool,         oscontrol_enable_telemetry_session,                  P "oscontrol_enable_telemetry_session"),
        E(bool,         oscontrol_on_demand_telemetry_statsd_report_enable,  P "oscontrol_on_demand_telemetry_statsd_report_enable"),
        E(bool,         oscontrol_on_demand_telemetry_enable,                P "oscontrol_on_demand_telemetry_enable"),
        E(bool,         telemetry_disable_offline_upload,                    P "halcyon_mobile_telemetry_disable_offline_upload"),
        E(bool,         telemetry_enable_dt_event_stats,                     P "halcyon_mobile_enable_dt_event_stats"),
        E(bool,         telemetry_enable_event_hc,                           P "halcyon_mobile_telemetry_enable_event_hc"),
        E(bool,         telemetry_enable_wrenlogger_hc,                      P "halcyon_mobile_telemetry_enable_wrenlogger_hc"),
        E(bool,         telemetry_enable_hc_archived_upload,                 "halcyon_mobile_telemetry_enable_hc_archived_upload"),
        E(bool,         telemetry_enable_history_store,                      P "halcyon_mobile_telemetry_enable_history_store"),
        E(bool,         telemetry_enable_network_manager,                    P "halcyon_mobile_telemetry_enable_network_manager"),
        E(bool,         telemetry_enable_tpx_hc,                             P "halcyon_mobile_telemetry_enable_tpx_hc"),
        E(bool,         telemetry_enable_verification,                       P "halcyon_mobile_telemetry_enable_verification"),
        E(bool,         telemetry_enable_workflow_sessions,                  P "bracken_telemetry_enable_workflow_sessions"),
        E(bool,         telemetry_enforce_permission,                        P "halcyon_mobile_telemetry_enforce_permission"),
        E(bool,         telemetry_event_filtering_dev,                       P "halcyon_mobile_telemetry_event_filtering_dev"),
        E(bool,         telemetry_event_filtering_dogfooders,                P "halcyon_mobile_telemetry_event_filtering_dogfooders"),
        E(bool,         telemetry_intake_monitor,                            P "halcyon_mobile_telemetry_intake_monitor"),
        E(bool,         telemetry_legacy_sess_disable,                       P "halcyon_mobile_native_telemetry_legacy_sess_disable"),
        E(bool,         telemetry_low_latency_allow_list,                    P "halcyon_mobile_telemetry_low_latency_allow_list"),
        E(bool,         telemetry_purge_event,                               P "halcyon_mobile_telemetry_purge_event"),
        E(bool,         telemetry_rate_limit_per_caller,                     P "halcyon_mobile_telemetry_rate_limit_per_caller"),
        E(bool,         telemetry_session_donstate_redundant,                P "halcyon_mobile_telemetry_session_donstate_redundant"),
        E(bool,         telemetry_set_default_rate_limit,                    P "halcyon_mobile_telemetry_set_default_rate_limit"),
        E(bool,         telemetry_enable_graceful_shutdown,                  P "halcyon_mobile_telemetry_enable_graceful_shutdown"),
        E(bool,         telemetry_max_exp_backoff,                           P "halcyon_mobile_telemetry_max_exp_backoff"),
        E(bool,         xr_external_display,                                 P "xr_external_display"),
        E(int,          jemalloc_low_ram_performance_mode,                   P "jemalloc_low_ram_performance_mode"),
        E(int,          jemalloc_normal_ram_performance_mode,                P "jemalloc_normal_ram_performance_mode"),
        E(int,          mobile_perfstream_memory_psi_stall_threshold,        P "halcyon_mobile_perfstream_memory_psi_stall_threshold"),
        E(int,          mobile_perfstream_memory_psi_window_ms,              P "halcyon_mobile_perfstream_memory_psi_window_ms"),
        E(int,          mobile_perfstream_zram_idle_threshold,               P "halcyon_mobile_perfstream_zram_idle_threshold"),
        E(int,          mobile_perfstream_zram_idle_histo_bucket,            P "halcyon_mobile_perfstream_zram_idle_histo_bucket"),
        E(int,          bracken_extended_logs_cache_size,                    P "bracken_extended_logs_cache_size"),
        E(int,          bracken_extended_logs_min_log_priority_level,        P "bracken_extended_logs_min_log_priority_level"),
        E(int,          bracken_extended_logs_number_of_cache_rotations,     P "bracken_extended_logs_number_of_cache_rotations"),
        E(int,          bracken_extended_logs_rotation_file_size,            P "bracken_extended_logs_rotation_file_size"),
        E(int,          bracken_extended_logs_rotation_num_files,            P "bracken_extended_logs_rotation_num_files"),
        E(int,          bracken_extended_logs_write_throttling_size,         P "bracken_extended_logs_write_throttling_size"),
        E(int,          bracken_extended_logs_write_throttling_span,         P "bracken_extended_logs_write_throttling_span"),
        E(int,          bracken_reserve_mb,                                  P "bracken_reserve_mb"),
        E(int,          halcyon_app_compact_level,                           P "app_compact_level"),
        E(int,          halcyon_idle_detect_heuristic,                       P "halcyon_idle_detect_heuristic"),
        E(int,          perfstream_instruction_sampler_sampling_period_us,   P "halcyon_perfstream_instruction_sampler_sampling_period_us"),
        E(std::string,  audio_aaudio_mmap_allowlist,                         P "fennel_audio_aaudio_mmap_allowlist"),
        E(std::string,  audio_aaudio_mmap_capture_allowlist,                 P "fennel_audio_aaudio_mmap_capture_allowlist"),
        E(std::string,  audio_aaudio_mmap_capture_denylist,                  P "fennel_audio_aaudio_mmap_capture_denylist"),
        E(std::string,  audio_aaudio_mmap_denylist,                          P "fennel_audio_aaudio_mmap_denylist"),
        E(std::string,  halcyon_telemetry_choice,                            P "halcyon_telemetry_choice"),
};
// clang-format on

std::vector<std::string> keysReadByAnAccessor() {
    std::vector<std::string> keys;
    for (const Entry& entry : kEntries) {
        if (entry.readsOne()) keys.push_back(entry.key);
    }
    return keys;
}

TEST(SharedOsServicesPropertiesKeys, EachKeyReachesExactlyItsAccessor) {
    EXPECT_EQ(keysReadByAnAccessor(), std::vector<std::string>{});
    for (const Entry& entry : kEntries) {
        ASSERT_TRUE(android::base::SetProperty(entry.key, "1"));
        EXPECT_EQ(keysReadByAnAccessor(), std::vector<std::string>{entry.key});
        ASSERT_TRUE(android::base::SetProperty(entry.key, ""));
    }
    // The archived-upload accessor reads only its bare key, not the prefixed one.
    ASSERT_TRUE(android::base::SetProperty(P "halcyon_mobile_telemetry_enable_hc_archived_upload",
                                           "1"));
    EXPECT_EQ(keysReadByAnAccessor(), std::vector<std::string>{});
}

}  // namespace
