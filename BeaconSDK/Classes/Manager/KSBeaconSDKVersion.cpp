#include "BeaconSDK/KSBeaconSDK.h"

const double KSBeaconSDKVersionNumber = 1.0;
const unsigned char KSBeaconSDKVersionString[] = "@(#)PROGRAM:KSBeaconSDK  PROJECT:KSBeaconSDK-1\n";
