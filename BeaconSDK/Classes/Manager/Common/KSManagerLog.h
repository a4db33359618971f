#pragma once

#include "BeaconSDK/Classes/Logging/KSLog.h"

/// The trace of the manager and its rooms: one source, as the application knows only the manager.
inline constexpr ks::LogSource kManagerLog{"BeaconSDK/Classes/Manager/KSProximityManager"};
