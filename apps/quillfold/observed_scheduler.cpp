#include "apps/quillfold/observed_scheduler.h"

namespace host {

using namespace quillfold;

namespace {

class ObservedTask : public BGProcessingTask {
 public:
  ObservedTask(std::shared_ptr<BGTask> real, std::function<void(bool)> onEnd)
      : real_(std::move(real)), onEnd_(std::move(onEnd)) {}

  const std::string& identifier() const override { return real_->identifier(); }
  void setExpirationHandler(std::function<void()> handler) override {
    real_->setExpirationHandler(std::move(handler));
  }
  void setTaskCompletedWithSuccess(bool success) override {
    real_->setTaskCompletedWithSuccess(success);
    if (onEnd_) onEnd_(success);
  }

 private:
  const std::shared_ptr<BGTask> real_;
  const std::function<void(bool)> onEnd_;
};

}  // namespace

bool ObservedScheduler::registerForTaskWithIdentifier(const std::string& identifier,
                                                      std::shared_ptr<DispatchQueue> queue,
                                                      LaunchHandler launchHandler) {
  return real_->registerForTaskWithIdentifier(
      identifier, std::move(queue),
      [this, launchHandler = std::move(launchHandler)](const std::shared_ptr<BGTask>& task) {
        if (onLaunch) onLaunch();
        launchHandler(std::make_shared<ObservedTask>(task, onEnd));
      });
}

}  // namespace host
