#include "BeaconSDK/Classes/Manager/Common/KSManagerLink.h"

#include "BeaconSDK/Platform/Api/Platform.h"

void KSManagerLink::postOnMainQueue(std::string name, ks::Dictionary userInfo) const {
  ks::Platform::current().mainQueue().async(whileAlive(
      [this, name = std::move(name), userInfo = std::move(userInfo)] { post(name, userInfo); }));
}

void KSManagerLink::post(std::string name, ks::Dictionary userInfo) const {
  ks::Platform::current().notificationCenter().post(
      {std::move(name), manager_.lock(), std::move(userInfo)});
}
