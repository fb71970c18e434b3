// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** What stands before a socket's name in the environment that init gives to a service. */
#define ANDROID_SOCKET_ENV_PREFIX "ANDROID_SOCKET_"
/** Where init makes a service's sockets. */
#define ANDROID_SOCKET_DIR "/dev/socket"

/**
 * The socket that init has made and bound for this service, by the option `socket` of its init file.
 * In the environment's name each character but letters and digits is a "_".
 *
 * @return the open descriptor, which is not close-on-exec, or -1 when
 * there is none, it is closed, or it is bound to another name.
 */
int android_get_control_socket(const char* name);

#ifdef __cplusplus
}
#endif
