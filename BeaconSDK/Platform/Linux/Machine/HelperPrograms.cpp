#include "BeaconSDK/Platform/Linux/Machine/HelperPrograms.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <utility>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

namespace {

/// A file in memory with the text, to be read from its beginning: nobody waits for a reader.
FileDescriptor inputOf(const std::string& text) {
  FileDescriptor file(memfd_create("event", MFD_CLOEXEC));
  std::size_t written = 0;
  while (file && written < text.size()) {
    const ssize_t part = write(file.get(), text.data() + written, text.size() - written);
    if (part <= 0) return FileDescriptor();
    written += static_cast<std::size_t>(part);
  }
  if (file) lseek(file.get(), 0, SEEK_SET);
  return file;
}

}  // namespace

/// One process. Its end is told by GLib, also after the object that started it is gone.
struct HelperPrograms::Run {
  HelperPrograms* owner;
  GObjectOwned<GSubprocess> process;
  GObjectOwned<GCancellable> cancellable;
  Wakeup limit;
};

HelperPrograms::HelperPrograms(std::string program, DispatchQueue& mainQueue,
                               std::function<void(const std::string&)> complain)
    : program_(std::move(program)), mainQueue_(mainQueue), complain_(std::move(complain)) {}

HelperPrograms::~HelperPrograms() {
  for (const auto& run : running_) {
    g_cancellable_cancel(run->cancellable.get());
    g_subprocess_force_exit(run->process.get());
  }
}

void HelperPrograms::run(std::string input) {
  if (running_.size() < kAtOnce) return begin(input);
  if (waiting_.size() < kWaiting) return waiting_.push_back(std::move(input));
  complainOnce(program_ + " is too slow: events were dropped");
}

void HelperPrograms::begin(const std::string& input) {
  FileDescriptor file = inputOf(input);
  if (!file) return complainOnce("no memory for the input of " + program_);
  const GObjectOwned<GSubprocessLauncher> launcher(
      g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_STDOUT_SILENCE));
  g_subprocess_launcher_take_stdin_fd(launcher.get(), fcntl(file.get(), F_DUPFD_CLOEXEC, 0));
  const char* const arguments[] = {program_.c_str(), nullptr};
  GError* raw = nullptr;
  GObjectOwned<GSubprocess> process(g_subprocess_launcher_spawnv(launcher.get(), arguments, &raw));
  const GLibOwned<GError> error(raw);
  if (!process) return complainOnce(error->message);
  auto& run = running_.emplace_back(
      new Run{this, std::move(process), GObjectOwned<GCancellable>(g_cancellable_new()), {}});
  run->limit.arm(mainQueue_, kLongest, [this, target = run->process.get()] {
    complainOnce(program_ + " ran for too long and was ended");
    g_subprocess_force_exit(target);
  });
  const auto done = [](GObject* source, GAsyncResult* result, gpointer data) {
    GError* problem = nullptr;
    const bool isOver = g_subprocess_wait_finish(G_SUBPROCESS(source), result, &problem) != FALSE;
    const GLibOwned<GError> owned(problem);
    // Cancelled: the owner is gone, and the run with it.
    if (isOver) static_cast<Run*>(data)->owner->ended(static_cast<Run*>(data));
  };
  g_subprocess_wait_async(run->process.get(), run->cancellable.get(), done, run.get());
}

void HelperPrograms::ended(Run* run) {
  GSubprocess* const process = run->process.get();
  if (g_subprocess_get_if_exited(process) != FALSE && g_subprocess_get_exit_status(process) != 0) {
    complainOnce(program_ + " ended with exit code " +
                 std::to_string(g_subprocess_get_exit_status(process)));
  }
  running_.remove_if([run](const auto& each) { return each.get() == run; });
  if (waiting_.empty()) return;
  const std::string next = std::move(waiting_.front());
  waiting_.pop_front();
  begin(next);
}

void HelperPrograms::complainOnce(const std::string& text) {
  if (text == complained_) return;
  complained_ = text;
  complain_(text);
}

void openPage(const std::string& url, const std::function<void(const std::string&)>& failed) {
  if (!url.starts_with("http://") && !url.starts_with("https://")) {
    return failed(url + " is not opened: only http:// and https:// are");
  }
  struct Asked {
    std::string url;
    std::function<void(const std::string&)> failed;
  };
  const auto done = [](GObject*, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Asked> asked(static_cast<Asked*>(data));
    GError* raw = nullptr;
    if (g_app_info_launch_default_for_uri_finish(result, &raw) != FALSE) return;
    const GLibOwned<GError> error(raw);
    asked->failed(asked->url + " could not be opened: " + error->message);
  };
  g_app_info_launch_default_for_uri_async(url.c_str(), nullptr, nullptr, done,
                                          new Asked{url, failed});
}

}  // namespace ks
