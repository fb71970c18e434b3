package vendor.morvantic.hardware.zul.zulengine;
@VintfStability
interface IZulClientCallback {
  void onRunMultiPidZULCallback(String sceneType, long flag, String multiPid, String extraInfo);
  void onRunSimpMultiPidZULCallback(String sceneType, String multiPid);
  void onRunSimpZULCallback(String sceneType, int pid);
  void onRunZULCallback(String sceneType, long flag, int pid, String extraInfo);
}
