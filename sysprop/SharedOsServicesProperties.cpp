#include <sysprop/SharedOsServicesProperties.h>

#include <sys/system_properties.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <strings.h>

namespace {

using PropertyHandle = std::atomic<const prop_info*>;

// Passes the current value to `reader` (an unset property reads as ""). The handle is looked up
// once per accessor and kept: a property's record lives as long as the process, so only a
// property that does not exist yet is looked up again on the next read.
template <typename Reader>
void ReadProperty(const char* key, PropertyHandle& handle, Reader& reader) {
    const prop_info* info = handle.load(std::memory_order_acquire);
    if (info == nullptr) {
        info = __system_property_find(key);
        if (info == nullptr) {
            reader("");
            return;
        }
        handle.store(info, std::memory_order_release);
    }
    __system_property_read_callback(
            info,
            [](void* cookie, const char* /*name*/, const char* text, uint32_t /*serial*/) {
                (*static_cast<Reader*>(cookie))(text);
            },
            &reader);
}

std::string ReadProperty(const char* key, PropertyHandle& handle) {
    std::string value;
    auto copy = [&value](const char* text) { value = text; };
    ReadProperty(key, handle, copy);
    return value;
}

// One parser per value type. The legacy key belongs to the accessor signature shared with
// generated property code; these properties have no legacy name, so it is always null and
// never read.
template <typename T>
T GetProp(const char* key, const char* legacy_key, PropertyHandle& handle);

// Parsed inside the read, so that a flag read copies nothing.
template <>
std::optional<bool> GetProp<std::optional<bool>>(const char* key, const char* /*legacy_key*/,
                                                 PropertyHandle& handle) {
    std::optional<bool> result;
    auto parse = [&result](const char* text) {
        if (strcasecmp(text, "1") == 0 || strcasecmp(text, "true") == 0) result = true;
        if (strcasecmp(text, "0") == 0 || strcasecmp(text, "false") == 0) result = false;
    };
    ReadProperty(key, handle, parse);
    return result;
}

// strtoll-based so that errno tells callers why a value was rejected: EINVAL for text
// that is not exactly one number, ERANGE for a number outside int.
template <>
std::optional<int> GetProp<std::optional<int>>(const char* key, const char* /*legacy_key*/,
                                               PropertyHandle& handle) {
    const std::string value = ReadProperty(key, handle);
    const char* start = value.c_str();
    while (*start == ' ' || *start == '\t' || *start == '\n' || *start == '\v' || *start == '\f' ||
           *start == '\r') {
        ++start;
    }
    // Hexadecimal only with an explicit prefix; a leading zero does not mean octal.
    const int base = (start[0] == '0' && (start[1] == 'x' || start[1] == 'X')) ? 16 : 10;
    errno = 0;
    char* end = nullptr;
    const long long number = strtoll(start, &end, base);
    if (errno != 0) return std::nullopt;
    if (end == start || *end != '\0') {
        errno = EINVAL;
        return std::nullopt;
    }
    if (number < INT_MIN || number > INT_MAX) {
        errno = ERANGE;
        return std::nullopt;
    }
    return static_cast<int>(number);
}

template <>
std::optional<std::string> GetProp<std::optional<std::string>>(const char* key,
                                                               const char* /*legacy_key*/,
                                                               PropertyHandle& handle) {
    std::string value = ReadProperty(key, handle);
    if (value.empty()) return std::nullopt;
    return value;
}

}  // namespace

// Every accessor: X(value type, accessor name, property key). Keys are the namespace
// prefix plus a suffix, except for the one bare key kept for compatibility with the
// readers that already use it.
#define PREFIXED(suffix) "persist.device_config.halcyon_shared_os_services." suffix

// clang-format off
#define SHARED_OS_SERVICES_PROPERTIES(X) \
    X(bool,        arvr_system_state_event,                            PREFIXED("halcyon_arvr_system_state_event")) \
    X(bool,        audio_aaudio_mmap,                                  PREFIXED("fennel_audio_aaudio_mmap")) \
    X(bool,        audio_aaudio_mmap_capture,                          PREFIXED("fennel_audio_aaudio_mmap_capture")) \
    X(bool,        audio_enable_eps_mixer,                             PREFIXED("fennel_audio_enable_eps_mixer")) \
    X(bool,        audio_enable_multi_volume_streams,                  PREFIXED("fennel_audio_enable_multi_volume_streams")) \
    X(bool,        audio_eps_mixer_for_nonspatial_streams,             PREFIXED("fennel_audio_eps_mixer_for_nonspatial_streams")) \
    X(bool,        crash_report_collect_logs,                          PREFIXED("tarn_crash_report_collect_logs")) \
    X(bool,        crash_report_extended_logs_enabled,                 PREFIXED("crash_report_extended_logs_enabled")) \
    X(bool,        enable_6dof_inactive_heuristic,                     PREFIXED("halcyon_enable_6dof_inactive_heuristic")) \
    X(bool,        enable_debugging_at_scale,                          PREFIXED("sorrel_enable_debugging_at_scale")) \
    X(bool,        enable_fg_apps_cpu_events,                          PREFIXED("sorrel_enable_fg_apps_cpu_events")) \
    X(bool,        enable_flashswap,                                   PREFIXED("halcyon_enable_flashswap")) \
    X(bool,        enable_mr_data_permission,                          PREFIXED("halcyon_enable_mr_data_permission")) \
    X(bool,        enable_strata_composer,                             PREFIXED("bracken_enable_strata_composer")) \
    X(bool,        enforce_memory_sla,                                 PREFIXED("enforce_memory_sla")) \
    X(bool,        zeph_enable_crcs_zsf_systemmodes,                   PREFIXED("zeph_enable_crcs_zsf_systemmodes")) \
    X(bool,        mobile_perfstream_cpu_metric,                       PREFIXED("halcyon_mobile_perfstream_cpu_metric")) \
    X(bool,        mobile_perfstream_memory_collector,                 PREFIXED("halcyon_mobile_perfstream_memory_collector")) \
    X(bool,        mobile_perfstream_memory_extended_collector,        PREFIXED("halcyon_mobile_perfstream_memory_extended_collector")) \
    X(bool,        mobile_perfstream_zram_idle_collector,              PREFIXED("halcyon_mobile_perfstream_zram_idle_collector")) \
    X(bool,        mobile_perfstream_zram,                             PREFIXED("halcyon_mobile_perfstream_zram")) \
    X(bool,        mobile_rlsu_enabled,                                PREFIXED("halcyon_mobile_rlsu_enabled")) \
    X(bool,        bracken_extended_logs_enabled,                      PREFIXED("bracken_extended_logs_enabled")) \
    X(bool,        halcyon_disable_use_minfree_levels,                 PREFIXED("halcyon_disable_use_minfree_levels")) \
    X(bool,        halcyon_memcg_cgroupv2,                             PREFIXED("halcyon_memcg_cgroupv2")) \
    X(bool,        halcyon_opt_l3_min,                                 PREFIXED("halcyon_opt_l3_min")) \
    X(bool,        halcyon_schedutil,                                  PREFIXED("halcyon_schedutil")) \
    X(bool,        halcyon_shared_runq,                                PREFIXED("halcyon_shared_runq")) \
    X(bool,        halcyon_soft_realtime,                              PREFIXED("halcyon_soft_realtime")) \
    X(bool,        enable_diagnostics_collector_correlation,           PREFIXED("oscontrol_enable_diagnostic_collector_service_corr")) \
    X(bool,        enable_eps_2d_window_spatialization,                PREFIXED("fennel_audio_enable_eps_2d_window_spatialization")) \
    X(bool,        lumo_enable_premium_ui,                             PREFIXED("halcyon_lumo_enable_premium_ui")) \
    X(bool,        use_volumetric_window_tracking_access_api,          PREFIXED("zeph_use_volumetric_window_tracking_access_api")) \
    X(bool,        oscontrol_enable_telemetry_session,                 PREFIXED("oscontrol_enable_telemetry_session")) \
    X(bool,        oscontrol_on_demand_telemetry_statsd_report_enable, PREFIXED("oscontrol_on_demand_telemetry_statsd_report_enable")) \
    X(bool,        oscontrol_on_demand_telemetry_enable,               PREFIXED("oscontrol_on_demand_telemetry_enable")) \
    X(bool,        telemetry_disable_offline_upload,                   PREFIXED("halcyon_mobile_telemetry_disable_offline_upload")) \
    X(bool,        telemetry_enable_dt_event_stats,                    PREFIXED("halcyon_mobile_enable_dt_event_stats")) \
    X(bool,        telemetry_enable_event_hc,                          PREFIXED("halcyon_mobile_telemetry_enable_event_hc")) \
    X(bool,        telemetry_enable_wrenlogger_hc,                     PREFIXED("halcyon_mobile_telemetry_enable_wrenlogger_hc")) \
    X(bool,        telemetry_enable_hc_archived_upload,                "halcyon_mobile_telemetry_enable_hc_archived_upload") /* bare */ \
    X(bool,        telemetry_enable_history_store,                     PREFIXED("halcyon_mobile_telemetry_enable_history_store")) \
    X(bool,        telemetry_enable_network_manager,                   PREFIXED("halcyon_mobile_telemetry_enable_network_manager")) \
    X(bool,        telemetry_enable_tpx_hc,                            PREFIXED("halcyon_mobile_telemetry_enable_tpx_hc")) \
    X(bool,        telemetry_enable_verification,                      PREFIXED("halcyon_mobile_telemetry_enable_verification")) \
    X(bool,        telemetry_enable_workflow_sessions,                 PREFIXED("bracken_telemetry_enable_workflow_sessions")) \
    X(bool,        telemetry_enforce_permission,                       PREFIXED("halcyon_mobile_telemetry_enforce_permission")) \
    X(bool,        telemetry_event_filtering_dev,                      PREFIXED("halcyon_mobile_telemetry_event_filtering_dev")) \
    X(bool,        telemetry_event_filtering_dogfooders,               PREFIXED("halcyon_mobile_telemetry_event_filtering_dogfooders")) \
    X(bool,        telemetry_intake_monitor,                           PREFIXED("halcyon_mobile_telemetry_intake_monitor")) \
    X(bool,        telemetry_legacy_sess_disable,                      PREFIXED("halcyon_mobile_native_telemetry_legacy_sess_disable")) \
    X(bool,        telemetry_low_latency_allow_list,                   PREFIXED("halcyon_mobile_telemetry_low_latency_allow_list")) \
    X(bool,        telemetry_purge_event,                              PREFIXED("halcyon_mobile_telemetry_purge_event")) \
    X(bool,        telemetry_rate_limit_per_caller,                    PREFIXED("halcyon_mobile_telemetry_rate_limit_per_caller")) \
    X(bool,        telemetry_session_donstate_redundant,               PREFIXED("halcyon_mobile_telemetry_session_donstate_redundant")) \
    X(bool,        telemetry_set_default_rate_limit,                   PREFIXED("halcyon_mobile_telemetry_set_default_rate_limit")) \
    X(bool,        telemetry_enable_graceful_shutdown,                 PREFIXED("halcyon_mobile_telemetry_enable_graceful_shutdown")) \
    X(bool,        telemetry_max_exp_backoff,                          PREFIXED("halcyon_mobile_telemetry_max_exp_backoff")) \
    X(bool,        xr_external_display,                                PREFIXED("xr_external_display")) \
    X(int,         jemalloc_low_ram_performance_mode,                  PREFIXED("jemalloc_low_ram_performance_mode")) \
    X(int,         jemalloc_normal_ram_performance_mode,               PREFIXED("jemalloc_normal_ram_performance_mode")) \
    X(int,         mobile_perfstream_memory_psi_stall_threshold,       PREFIXED("halcyon_mobile_perfstream_memory_psi_stall_threshold")) \
    X(int,         mobile_perfstream_memory_psi_window_ms,             PREFIXED("halcyon_mobile_perfstream_memory_psi_window_ms")) \
    X(int,         mobile_perfstream_zram_idle_threshold,              PREFIXED("halcyon_mobile_perfstream_zram_idle_threshold")) \
    X(int,         mobile_perfstream_zram_idle_histo_bucket,           PREFIXED("halcyon_mobile_perfstream_zram_idle_histo_bucket")) \
    X(int,         bracken_extended_logs_cache_size,                   PREFIXED("bracken_extended_logs_cache_size")) \
    X(int,         bracken_extended_logs_min_log_priority_level,       PREFIXED("bracken_extended_logs_min_log_priority_level")) \
    X(int,         bracken_extended_logs_number_of_cache_rotations,    PREFIXED("bracken_extended_logs_number_of_cache_rotations")) \
    X(int,         bracken_extended_logs_rotation_file_size,           PREFIXED("bracken_extended_logs_rotation_file_size")) \
    X(int,         bracken_extended_logs_rotation_num_files,           PREFIXED("bracken_extended_logs_rotation_num_files")) \
    X(int,         bracken_extended_logs_write_throttling_size,        PREFIXED("bracken_extended_logs_write_throttling_size")) \
    X(int,         bracken_extended_logs_write_throttling_span,        PREFIXED("bracken_extended_logs_write_throttling_span")) \
    X(int,         bracken_reserve_mb,                                 PREFIXED("bracken_reserve_mb")) \
    X(int,         halcyon_app_compact_level,                          PREFIXED("app_compact_level")) \
    X(int,         halcyon_idle_detect_heuristic,                      PREFIXED("halcyon_idle_detect_heuristic")) \
    X(int,         perfstream_instruction_sampler_sampling_period_us,  PREFIXED("halcyon_perfstream_instruction_sampler_sampling_period_us")) \
    X(std::string, audio_aaudio_mmap_allowlist,                        PREFIXED("fennel_audio_aaudio_mmap_allowlist")) \
    X(std::string, audio_aaudio_mmap_capture_allowlist,                PREFIXED("fennel_audio_aaudio_mmap_capture_allowlist")) \
    X(std::string, audio_aaudio_mmap_capture_denylist,                 PREFIXED("fennel_audio_aaudio_mmap_capture_denylist")) \
    X(std::string, audio_aaudio_mmap_denylist,                         PREFIXED("fennel_audio_aaudio_mmap_denylist")) \
    X(std::string, halcyon_telemetry_choice,                           PREFIXED("halcyon_telemetry_choice"))
// clang-format on

namespace halcyon::sysprop::SharedOsServicesProperties {

#define DEFINE_ACCESSOR(type, accessor, key)                       \
    std::optional<type> accessor() {                               \
        static PropertyHandle handle{nullptr};                     \
        return GetProp<std::optional<type>>(key, nullptr, handle); \
    }

SHARED_OS_SERVICES_PROPERTIES(DEFINE_ACCESSOR)

#undef DEFINE_ACCESSOR

}  // namespace halcyon::sysprop::SharedOsServicesProperties
