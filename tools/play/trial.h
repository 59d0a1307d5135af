// The situations that entry points are called in to find out what they do.
#ifndef ORBA_TOOLS_PLAY_TRIAL_H
#define ORBA_TOOLS_PLAY_TRIAL_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sim/device.h"

namespace orba::tool {

using SettingName = std::pair<int, std::string>;  // space and key

// One setting that is not as its example has it.
struct Change {
  SettingName setting;
  std::optional<std::string> value;  // nothing: the setting is missing

  std::string words() const;
};

// The values of a setting, other than its example, that make a difference, and
// its absence.
std::vector<Change> changesOf(const SettingName &setting);

// What a device has and finds.
struct TrialDevice {
  std::string words;  // empty for the usual ones
  bool settings;      // the examples, or none
  bool files;         // the usual ones, or none
  void (*prepare)(sim::Device &);
};

const std::vector<TrialDevice> &trialDevices();

// Makes the device of a situation, with nothing recorded yet.
void putTrial(const TrialDevice &surroundings, const std::vector<Change> &changes,
              sim::Device &device);

}  // namespace orba::tool

#endif
