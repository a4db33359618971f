#include "BeaconSDK/Classes/Manager/Common/KSManagerLink.h"

void KSManagerLink::postOnMainQueue(std::string name, ks::Dictionary userInfo) const {
  mainQueue_.async(whileAlive(
      [this, name = std::move(name), userInfo = std::move(userInfo)] { post(name, userInfo); }));
}

void KSManagerLink::post(std::string name, ks::Dictionary userInfo) const {
  notificationCenter_.post({std::move(name), manager_.lock(), std::move(userInfo)});
}
