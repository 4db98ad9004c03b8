#include "simulator.h"

#include <deque>
#include <future>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "failure.h"
#include "scenario.h"
#include "simulated_device.h"
#include "timeline.h"

namespace MobileDevice::simulator {
namespace {

class Simulator final : public Backend {
 public:
  explicit Simulator(std::string file) : file_(std::move(file)) {}

  Owned<CFErrorRef> start(Listener& listener) override;
  int file_logging_error() const override { return scenario().file_logging_error; }
  bool has_default_restore_options() const override {
    return !scenario().no_default_restore_options;
  }
  std::optional<std::string> operation_text(int operation) const override {
    return find(scenario().operation_texts, operation);
  }
  std::optional<std::string> error_text(int error) const override {
    return find(scenario().error_texts, error);
  }

 private:
  static std::optional<std::string> find(const std::map<int, std::string>& texts, int number);
  /// Read at the first call; empty if it can't be used: then `failure_` has the reason.
  const Scenario& scenario() const;

  const std::string file_;
  mutable std::once_flag read_;
  mutable Scenario scenario_;
  mutable std::optional<Failure> failure_;
  Timeline timeline_;
  std::deque<SimulatedDevice> devices_;
};

Owned<CFErrorRef> Simulator::start(Listener& listener) {
  const Scenario& scenario = this->scenario();
  if (failure_) return failure_->error();
  if (scenario.registration_error) return retained(scenario.registration_error.get());
  try {
    timeline_.start();
  } catch (const std::system_error& failure) {
    return Failure(FailureCode::kInternal, failure.what()).error();
  }
  const Clock::time_point now = Clock::now();
  for (DevicePlan& plan : scenario_.devices)
    devices_.emplace_back(std::move(plan), timeline_, listener).schedule(now);
  const std::shared_ptr<std::promise<void>> reported = std::make_shared<std::promise<void>>();
  timeline_.add(now, [reported] { reported->set_value(); });
  reported->get_future().wait();  // until the devices that are attached from the start are reported
  return nullptr;
}

std::optional<std::string> Simulator::find(const std::map<int, std::string>& texts, int number) {
  const std::map<int, std::string>::const_iterator found = texts.find(number);
  return found == texts.end() ? std::nullopt : std::optional(found->second);
}

const Scenario& Simulator::scenario() const {
  std::call_once(read_, [this] {
    try {
      scenario_ = read_scenario(file_);
    } catch (const Failure& failure) {
      failure_ = failure;
    } catch (const std::bad_alloc&) {
      // No exception may leave: the C library's frames end a process that has a static libgcc.
      failure_ = Failure(FailureCode::kInternal, file_ + ": no memory");
    }
  });
  return scenario_;
}

}  // namespace

std::unique_ptr<Backend> make_simulator(std::string scenario_file) {
  return std::make_unique<Simulator>(std::move(scenario_file));
}

}  // namespace MobileDevice::simulator
