package vendor.morvantic.hardware.zul.zulengine;
@VintfStability
interface IZul {
  int getThreadNumber();
  void registerClientCallback(in vendor.morvantic.hardware.zul.zulengine.IZulClientCallback callback);
}
