// Which channels of a recording are the voltages and the currents of the phases, and what one step of them is worth.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "recordings/power_groups.hpp"
#include "recordings/recording.hpp"

namespace kxrecordings {

struct PhysicalChannel {
  size_t index;  ///< in the recording, from 0
  double scale;  ///< V or A per step of the recording
};

/// One voltage and one current for each phase.
struct PowerChannels {
  std::vector<PhysicalChannel> voltages;
  std::vector<PhysicalChannel> currents;
  bool isProposed = false;  ///< whether they are the one group that belongs together among more channels
};

/// What the user says of the channels.
struct PowerChannelOptions {
  std::vector<int> voltages;   ///< channel numbers from 1; empty: what the channels' names tell
  std::vector<int> currents;   ///< as many
  std::vector<double> scales;  ///< one for all voltages and one for all currents, or one for each; empty: 1
};

constexpr size_t mostPhases = 3;

/// The channels' names do not tell which ones to take, or tell several groups.
class UnclearChannels : public FileError {
public:
  UnclearChannels(const std::string& file, const std::string& what, std::vector<PowerGroup> groups)
      : FileError(file, what), groups_(std::move(groups)) {}

  const std::vector<PowerGroup>& groups() const { return groups_; }

private:
  std::vector<PowerGroup> groups_;
};

/// Names that end in a unit ("Ua [kV]", "Ia (mA)", "Ib/A", "Ib in A") tell the channels' kinds and are taken at their
/// units. Without any such name the first half of two, four or six channels is taken as the voltages. Where there are more
/// channels, or not as many voltages as currents, the one group is taken that belongs together (powerGroups). Integer audio
/// samples count as fractions of full scale. Throws FileError, and UnclearChannels where there are several groups or none.
PowerChannels powerChannels(const std::string& file, const Format& format, const PowerChannelOptions& options);

}  // namespace kxrecordings
