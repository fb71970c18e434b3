# SPDX-License-Identifier: Apache-2.0
#
# The platform's policy macros and permission sets as far as the daemon's policy uses them, in their
# smallest form. `target_build_variant' is user or userdebug, `platform_release' a number.
define(`r_file_perms', `{ getattr open read ioctl lock map watch }')
define(`w_file_perms', `{ open append write lock map }')
define(`rx_file_perms', `{ r_file_perms execute execute_no_trans }')
define(`rw_file_perms', `{ r_file_perms w_file_perms }')
define(`create_file_perms', `{ create rename setattr unlink rw_file_perms }')
define(`r_dir_perms', `{ open getattr read search ioctl lock watch }')
define(`create_dir_perms', `{ r_dir_perms create reparent rename rmdir setattr add_name remove_name write }')

define(`r_dir_file', `
allow $1 $2:dir r_dir_perms;
allow $1 $2:{ file lnk_file } r_file_perms;')

define(`userdebug_or_eng', `ifelse(target_build_variant, `user', , `$1')')

define(`domain_auto_trans', `
allow $1 $2:file { getattr open read execute map };
allow $1 $3:process transition;
allow $3 $2:file { entrypoint open read execute getattr map };
allow $3 $1:process sigchld;
dontaudit $1 $3:process noatsecure;
allow $1 $3:process { siginh rlimitinh };
type_transition $1 $2:process $3;')
define(`init_daemon_domain', `domain_auto_trans(init, $1_exec, $1)')

define(`binder_call', `
allow $1 $2:binder { call transfer };
allow $2 $1:binder transfer;
allow $1 $2:fd use;')
define(`binder_use', `
allow $1 servicemanager:binder { call transfer };
allow servicemanager $1:binder { call transfer };
allow servicemanager $1:dir search;
allow servicemanager $1:file { read open };
allow servicemanager $1:process getattr;')
define(`hwbinder_use', `
allow $1 hwservicemanager:binder { call transfer };
allow hwservicemanager $1:binder { call transfer };
allow hwservicemanager $1:dir search;
allow hwservicemanager $1:file { read open map };
allow hwservicemanager $1:process getattr;')

define(`hal_attribute', `attribute hal_$1; attribute hal_$1_client; attribute hal_$1_server;')
define(`hal_client_domain', `typeattribute $1 halclientdomain; typeattribute $1 $2_client;')
define(`hal_server_domain', `typeattribute $1 halserverdomain; typeattribute $1 $2_server; typeattribute $1 $2;')
define(`hal_attribute_hwservice', `
allow $1_client $2:hwservice_manager find;
allow $1_server $2:hwservice_manager { add find };
neverallow { domain -$1_client -$1_server } $2:hwservice_manager find;')
define(`hal_attribute_service', `
allow $1_client $2:service_manager find;
allow $1_server $2:service_manager { add find };
neverallow { domain -$1_client -$1_server } $2:service_manager find;')

define(`get_prop', `allow $1 $2:file { getattr open read map };')
define(`set_prop', `
allow $1 property_socket:sock_file write;
allow $1 init:unix_stream_socket connectto;
allow $1 $2:property_service set;
get_prop($1, $2)')
define(`system_internal_prop', `
type $1, property_type, system_property_type, system_internal_property_type;
neverallow { domain -coredomain } $1:file { getattr open read map };')
define(`system_restricted_prop', `
type $1, property_type, system_property_type, system_restricted_property_type;
neverallow { domain -coredomain } $1:property_service set;')
