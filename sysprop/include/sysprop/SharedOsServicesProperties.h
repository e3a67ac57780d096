#pragma once

#include <halcyon/TelemetryExport.h>

// Typed accessors for the system properties that the device-configuration service mirrors
// for the shared OS services namespace. Every call reads the property afresh; the result
// is empty when the property is unset or does not parse. Safe to call from any thread.
// Keys are "persist.device_config.halcyon_shared_os_services." plus a per-accessor suffix
// (see the table in the source); integer accessors leave errno at EINVAL or ERANGE when
// they reject a value.

#include <optional>
#include <string>

namespace halcyon::sysprop::SharedOsServicesProperties {

// "1"/"0" or "true"/"false", any case.
TELEMETRY_EXPORT std::optional<bool> arvr_system_state_event();
TELEMETRY_EXPORT std::optional<bool> audio_aaudio_mmap();
TELEMETRY_EXPORT std::optional<bool> audio_aaudio_mmap_capture();
TELEMETRY_EXPORT std::optional<bool> audio_enable_eps_mixer();
TELEMETRY_EXPORT std::optional<bool> audio_enable_multi_volume_streams();
TELEMETRY_EXPORT std::optional<bool> audio_eps_mixer_for_nonspatial_streams();
TELEMETRY_EXPORT std::optional<bool> crash_report_collect_logs();
TELEMETRY_EXPORT std::optional<bool> crash_report_extended_logs_enabled();
TELEMETRY_EXPORT std::optional<bool> enable_6dof_inactive_heuristic();
TELEMETRY_EXPORT std::optional<bool> enable_debugging_at_scale();
TELEMETRY_EXPORT std::optional<bool> enable_fg_apps_cpu_events();
TELEMETRY_EXPORT std::optional<bool> enable_flashswap();
TELEMETRY_EXPORT std::optional<bool> enable_mr_data_permission();
TELEMETRY_EXPORT std::optional<bool> enable_strata_composer();
TELEMETRY_EXPORT std::optional<bool> enforce_memory_sla();
TELEMETRY_EXPORT std::optional<bool> zeph_enable_crcs_zsf_systemmodes();
TELEMETRY_EXPORT std::optional<bool> mobile_perfstream_cpu_metric();
TELEMETRY_EXPORT std::optional<bool> mobile_perfstream_memory_collector();
TELEMETRY_EXPORT std::optional<bool> mobile_perfstream_memory_extended_collector();
TELEMETRY_EXPORT std::optional<bool> mobile_perfstream_zram_idle_collector();
TELEMETRY_EXPORT std::optional<bool> mobile_perfstream_zram();
TELEMETRY_EXPORT std::optional<bool> mobile_rlsu_enabled();
TELEMETRY_EXPORT std::optional<bool> bracken_extended_logs_enabled();
TELEMETRY_EXPORT std::optional<bool> halcyon_disable_use_minfree_levels();
TELEMETRY_EXPORT std::optional<bool> halcyon_memcg_cgroupv2();
TELEMETRY_EXPORT std::optional<bool> halcyon_opt_l3_min();
TELEMETRY_EXPORT std::optional<bool> halcyon_schedutil();
TELEMETRY_EXPORT std::optional<bool> halcyon_shared_runq();
TELEMETRY_EXPORT std::optional<bool> halcyon_soft_realtime();
TELEMETRY_EXPORT std::optional<bool> enable_diagnostics_collector_correlation();
TELEMETRY_EXPORT std::optional<bool> enable_eps_2d_window_spatialization();
TELEMETRY_EXPORT std::optional<bool> lumo_enable_premium_ui();
TELEMETRY_EXPORT std::optional<bool> use_volumetric_window_tracking_access_api();
TELEMETRY_EXPORT std::optional<bool> oscontrol_enable_telemetry_session();
TELEMETRY_EXPORT std::optional<bool> oscontrol_on_demand_telemetry_statsd_report_enable();
TELEMETRY_EXPORT std::optional<bool> oscontrol_on_demand_telemetry_enable();
TELEMETRY_EXPORT std::optional<bool> telemetry_disable_offline_upload();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_dt_event_stats();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_event_hc();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_wrenlogger_hc();
// Reads the bare key "halcyon_mobile_telemetry_enable_hc_archived_upload", without the prefix.
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_hc_archived_upload();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_history_store();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_network_manager();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_tpx_hc();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_verification();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_workflow_sessions();
TELEMETRY_EXPORT std::optional<bool> telemetry_enforce_permission();
TELEMETRY_EXPORT std::optional<bool> telemetry_event_filtering_dev();
TELEMETRY_EXPORT std::optional<bool> telemetry_event_filtering_dogfooders();
TELEMETRY_EXPORT std::optional<bool> telemetry_intake_monitor();
TELEMETRY_EXPORT std::optional<bool> telemetry_legacy_sess_disable();
TELEMETRY_EXPORT std::optional<bool> telemetry_low_latency_allow_list();
TELEMETRY_EXPORT std::optional<bool> telemetry_purge_event();
TELEMETRY_EXPORT std::optional<bool> telemetry_rate_limit_per_caller();
TELEMETRY_EXPORT std::optional<bool> telemetry_session_donstate_redundant();
TELEMETRY_EXPORT std::optional<bool> telemetry_set_default_rate_limit();
TELEMETRY_EXPORT std::optional<bool> telemetry_enable_graceful_shutdown();
TELEMETRY_EXPORT std::optional<bool> telemetry_max_exp_backoff();
TELEMETRY_EXPORT std::optional<bool> xr_external_display();

// Decimal, or hexadecimal with a 0x prefix; must fit in 32 bits.
TELEMETRY_EXPORT std::optional<int> jemalloc_low_ram_performance_mode();
TELEMETRY_EXPORT std::optional<int> jemalloc_normal_ram_performance_mode();
TELEMETRY_EXPORT std::optional<int> mobile_perfstream_memory_psi_stall_threshold();
TELEMETRY_EXPORT std::optional<int> mobile_perfstream_memory_psi_window_ms();
TELEMETRY_EXPORT std::optional<int> mobile_perfstream_zram_idle_threshold();
TELEMETRY_EXPORT std::optional<int> mobile_perfstream_zram_idle_histo_bucket();
TELEMETRY_EXPORT std::optional<int> bracken_extended_logs_cache_size();
TELEMETRY_EXPORT std::optional<int> bracken_extended_logs_min_log_priority_level();
TELEMETRY_EXPORT std::optional<int> bracken_extended_logs_number_of_cache_rotations();
TELEMETRY_EXPORT std::optional<int> bracken_extended_logs_rotation_file_size();
TELEMETRY_EXPORT std::optional<int> bracken_extended_logs_rotation_num_files();
TELEMETRY_EXPORT std::optional<int> bracken_extended_logs_write_throttling_size();
TELEMETRY_EXPORT std::optional<int> bracken_extended_logs_write_throttling_span();
TELEMETRY_EXPORT std::optional<int> bracken_reserve_mb();
TELEMETRY_EXPORT std::optional<int> halcyon_app_compact_level();
TELEMETRY_EXPORT std::optional<int> halcyon_idle_detect_heuristic();
TELEMETRY_EXPORT std::optional<int> perfstream_instruction_sampler_sampling_period_us();

// Any non-empty value, verbatim.
TELEMETRY_EXPORT std::optional<std::string> audio_aaudio_mmap_allowlist();
TELEMETRY_EXPORT std::optional<std::string> audio_aaudio_mmap_capture_allowlist();
TELEMETRY_EXPORT std::optional<std::string> audio_aaudio_mmap_capture_denylist();
TELEMETRY_EXPORT std::optional<std::string> audio_aaudio_mmap_denylist();
TELEMETRY_EXPORT std::optional<std::string> halcyon_telemetry_choice();

}  // namespace halcyon::sysprop::SharedOsServicesProperties
