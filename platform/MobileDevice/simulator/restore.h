/// The restore of a simulated device.
#pragma once

#include <functional>
#include <vector>

#include "../backend.h"
#include "personalized_folder.h"
#include "scenario.h"
#include "timeline.h"

namespace MobileDevice::simulator {

/// Waits until then; false as soon as the device leaves.
using StayUntil = std::function<bool(Clock::time_point)>;

/// Delivers the reports unchanged, each at its time. Blocks.
void play_script(const std::vector<ScriptedStatus>& script, const StatusReceiver& receiver);

/// The built-in restore: checks the bundle that `options` name, writes the personalized one and
/// reports progress for `duration` (longer if checking takes longer). The last report contains any
/// failure. Blocks.
void run_course(const DeviceProperties& device, CFDictionaryRef options,
                const PersonalizedFolder& folder, Seconds duration, const StayUntil& stay_until,
                const StatusReceiver& receiver);

/// The one report of a restore of a device that isn't attached.
void report_absence(const StatusReceiver& receiver);

}  // namespace MobileDevice::simulator
