// SPDX-License-Identifier: Apache-2.0

package vendor.morvantic.hardware.zul.zulengine;

import vendor.morvantic.hardware.zul.zulengine.IZulClientCallback;

/** The engine: it decides when something is worth capturing and tells its clients. */
@VintfStability
interface IZul {
    /** How many callbacks the engine wants registered, one for each event it delivers at a time. */
    int getThreadNumber();

    /** Adds one callback; the engine keeps it until its process ends. */
    void registerClientCallback(in IZulClientCallback callback);
}
