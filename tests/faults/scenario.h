// What a host does while calls fail.
#ifndef QUARN_TESTS_FAULTS_SCENARIO_H_
#define QUARN_TESTS_FAULTS_SCENARIO_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace faults {

// A digest of what came out, by which runs are compared. 0: nothing did.
using Digest = std::uint64_t;
inline constexpr Digest kNothing = 0;
Digest DigestOf(const void* data, std::size_t size, Digest before = 14695981039346656037u);

// One run of a host, from the device's making to its end, which is the destructor.
class Host {
 public:
  virtual ~Host() = default;
  // Makes the device, or whatever everything else is made on.
  virtual void MakeDevice() = 0;
  // Makes everything else anew; what there was before goes.
  virtual void MakeObjects() = 0;
  // Does one round of work. The same digest each time, where nothing fails.
  virtual Digest Work() = 0;
  // Whether everything works but windows: what becomes of a process that has lost its window system.
  virtual bool WorksWithoutWindows() { return false; }
};

// How many objects the library has at the Wayland compositor's for its windows: none without windows.
int WindowObjects();

// Whether the log has said nothing at all.
bool NothingWasSaid();
// Whether the log has said that the process shows no windows any more.
bool WindowsAreGone();

struct Scenario {
  std::string group;  // Which of the tests it belongs to.
  std::string name;
  std::function<std::unique_ptr<Host>()> make;
};

std::vector<Scenario> DeviceScenarios();
std::vector<Scenario> PictureScenarios();
std::vector<Scenario> SoundScenarios();
// On the X server that DISPLAY names.
std::vector<Scenario> ViewScenarios();
std::vector<Scenario> WaylandScenarios();  // None in a build without.

}  // namespace faults

#endif  // QUARN_TESTS_FAULTS_SCENARIO_H_
