#pragma once

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
std::optional<bool> arvr_system_state_event();
std::optional<bool> audio_aaudio_mmap();
std::optional<bool> audio_aaudio_mmap_capture();
std::optional<bool> audio_enable_eps_mixer();
std::optional<bool> audio_enable_multi_volume_streams();
std::optional<bool> audio_eps_mixer_for_nonspatial_streams();
std::optional<bool> crash_report_collect_logs();
std::optional<bool> crash_report_extended_logs_enabled();
std::optional<bool> enable_6dof_inactive_heuristic();
std::optional<bool> enable_debugging_at_scale();
std::optional<bool> enable_fg_apps_cpu_events();
std::optional<bool> enable_flashswap();
std::optional<bool> enable_mr_data_permission();
std::optional<bool> enable_strata_composer();
std::optional<bool> enforce_memory_sla();
std::optional<bool> zeph_enable_crcs_zsf_systemmodes();
std::optional<bool> mobile_perfstream_cpu_metric();
std::optional<bool> mobile_perfstream_memory_collector();
std::optional<bool> mobile_perfstream_memory_extended_collector();
std::optional<bool> mobile_perfstream_zram_idle_collector();
std::optional<bool> mobile_perfstream_zram();
std::optional<bool> mobile_rlsu_enabled();
std::optional<bool> bracken_extended_logs_enabled();
std::optional<bool> halcyon_disable_use_minfree_levels();
std::optional<bool> halcyon_memcg_cgroupv2();
std::optional<bool> halcyon_opt_l3_min();
std::optional<bool> halcyon_schedutil();
std::optional<bool> halcyon_shared_runq();
std::optional<bool> halcyon_soft_realtime();
std::optional<bool> enable_diagnostics_collector_correlation();
std::optional<bool> enable_eps_2d_window_spatialization();
std::optional<bool> lumo_enable_premium_ui();
std::optional<bool> use_volumetric_window_tracking_access_api();
std::optional<bool> oscontrol_enable_telemetry_session();
std::optional<bool> oscontrol_on_demand_telemetry_statsd_report_enable();
std::optional<bool> oscontrol_on_demand_telemetry_enable();
std::optional<bool> telemetry_disable_offline_upload();
std::optional<bool> telemetry_enable_dt_event_stats();
std::optional<bool> telemetry_enable_event_hc();
std::optional<bool> telemetry_enable_wrenlogger_hc();
// Reads the bare key "halcyon_mobile_telemetry_enable_hc_archived_upload", without the prefix.
std::optional<bool> telemetry_enable_hc_archived_upload();
std::optional<bool> telemetry_enable_history_store();
std::optional<bool> telemetry_enable_network_manager();
std::optional<bool> telemetry_enable_tpx_hc();
std::optional<bool> telemetry_enable_verification();
std::optional<bool> telemetry_enable_workflow_sessions();
std::optional<bool> telemetry_enforce_permission();
std::optional<bool> telemetry_event_filtering_dev();
std::optional<bool> telemetry_event_filtering_dogfooders();
std::optional<bool> telemetry_intake_monitor();
std::optional<bool> telemetry_legacy_sess_disable();
std::optional<bool> telemetry_low_latency_allow_list();
std::optional<bool> telemetry_purge_event();
std::optional<bool> telemetry_rate_limit_per_caller();
std::optional<bool> telemetry_session_donstate_redundant();
std::optional<bool> telemetry_set_default_rate_limit();
std::optional<bool> telemetry_enable_graceful_shutdown();
std::optional<bool> telemetry_max_exp_backoff();
std::optional<bool> xr_external_display();

// Decimal, or hexadecimal with a 0x prefix; must fit in 32 bits.
std::optional<int> jemalloc_low_ram_performance_mode();
std::optional<int> jemalloc_normal_ram_performance_mode();
std::optional<int> mobile_perfstream_memory_psi_stall_threshold();
std::optional<int> mobile_perfstream_memory_psi_window_ms();
std::optional<int> mobile_perfstream_zram_idle_threshold();
std::optional<int> mobile_perfstream_zram_idle_histo_bucket();
std::optional<int> bracken_extended_logs_cache_size();
std::optional<int> bracken_extended_logs_min_log_priority_level();
std::optional<int> bracken_extended_logs_number_of_cache_rotations();
std::optional<int> bracken_extended_logs_rotation_file_size();
std::optional<int> bracken_extended_logs_rotation_num_files();
std::optional<int> bracken_extended_logs_write_throttling_size();
std::optional<int> bracken_extended_logs_write_throttling_span();
std::optional<int> bracken_reserve_mb();
std::optional<int> halcyon_app_compact_level();
std::optional<int> halcyon_idle_detect_heuristic();
std::optional<int> perfstream_instruction_sampler_sampling_period_us();

// Any non-empty value, verbatim.
std::optional<std::string> audio_aaudio_mmap_allowlist();
std::optional<std::string> audio_aaudio_mmap_capture_allowlist();
std::optional<std::string> audio_aaudio_mmap_capture_denylist();
std::optional<std::string> audio_aaudio_mmap_denylist();
std::optional<std::string> halcyon_telemetry_choice();

}  // namespace halcyon::sysprop::SharedOsServicesProperties
