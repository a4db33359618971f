#include "bindings/c/source/Recording.h"

#include <utility>

#include "BeaconSDK/Platform/Recorded/RecordedPlatform.h"
#include "bindings/c/source/Failure.h"
#include "tools/ksbeacon/host/HostDetails.h"
#include "tools/ksbeacon/host/TimelineMarks.h"

namespace ks::capi {

namespace {

std::unique_ptr<RecordingWriter> writerFor(const Recording::Plan& plan) {
  auto writer = RecordingWriter::create(plan.file, {plan.isPrivate});
  if (!writer) throw Failure(KS_ERROR_SYSTEM, writer.error().localizedDescription());
  return std::move(writer.value());
}

class FileRecording : public Recording {
 public:
  explicit FileRecording(Plan plan)
      : writer_(writerFor(plan)),
        start_(plan.timeline.start),
        platform_(plan.device, plan.engine, plan.state, *writer_,
                  tool::hostDetails(plan.library, plan.timeline)) {
    platform_.setHostHandler(std::move(plan.handler));
    platform_.setTransferListener(std::move(plan.transferListener));
  }

  Platform& platform() override { return platform_; }
  void call(std::string name, Dictionary arguments) override {
    platform_.call(std::move(name), std::move(arguments));
  }
  void take(const tool::TimelineEvent& event) override {
    tool::recordEvent(*writer_, event, start_, true);
  }

 private:
  std::unique_ptr<RecordingWriter> writer_;
  Date start_;
  RecordedPlatform platform_;
};

}  // namespace

std::unique_ptr<Recording> Recording::make(Plan plan) {
  return std::make_unique<FileRecording>(std::move(plan));
}

}  // namespace ks::capi
