// SPDX-License-Identifier: Apache-2.0

package vendor.morvantic.hardware.zul.zulengine;

/**
 * What a client of the engine offers: one call per event. A call returns when the client has dealt
 * with the event, and the engine waits for it.
 */
@VintfStability
interface IZulClientCallback {
    /** An event of several processes, with the collection mask and a text of the engine's own. */
    void onRunMultiPidZULCallback(String sceneType, long flag, String multiPid, String extraInfo);

    /** An event of several processes, described by its tag alone. */
    void onRunSimpMultiPidZULCallback(String sceneType, String multiPid);

    /** An event of one process, described by its tag alone. */
    void onRunSimpZULCallback(String sceneType, int pid);

    /** An event of one process, with the collection mask and a text of the engine's own. */
    void onRunZULCallback(String sceneType, long flag, int pid, String extraInfo);
}
