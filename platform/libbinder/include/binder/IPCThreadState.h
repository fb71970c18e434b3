// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace android {

/** The calling thread's side of binder. */
class IPCThreadState {
  public:
    static IPCThreadState* self();

    /** Serves calls on the calling thread; does not come back in normal operation. */
    void joinThreadPool(bool isMain = true);
};

}  // namespace android
