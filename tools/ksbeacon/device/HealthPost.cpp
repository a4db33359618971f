#include "tools/ksbeacon/device/HealthPost.h"

#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <system_error>
#include <utility>

#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/status/HealthText.h"

namespace ks::tool {

namespace {

namespace fs = std::filesystem;

/// The collector is another user and reads whole files only: the old one or the new.
bool replaceReadable(const fs::path& file, const std::string& text) {
  const fs::path unfinished = file.string() + ".tmp";
  std::ofstream stream(unfinished, std::ios::binary | std::ios::trunc);
  stream << text << std::flush;
  bool isWritten = stream.good();
  stream.close();
  constexpr mode_t kReadable = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
  isWritten = isWritten && chmod(unfinished.c_str(), kReadable) == 0;
  std::error_code error;
  if (isWritten) fs::rename(unfinished, file, error);
  if (isWritten && !error) return true;
  fs::remove(unfinished, error);
  return false;
}

}  // namespace

HealthPost::HealthPost(const fs::path& socket, fs::path metrics, DispatchQueue& mainQueue,
                       Source source, Why why)
    : metrics_(std::move(metrics)), mainQueue_(mainQueue), source_(std::move(source)) {
  auto opened =
      StatusSocket::open(socket, mainQueue, [this, why = std::move(why)](const std::string& asked) {
        return (asked.starts_with(kWhyRequest) ? why(asked.substr(std::strlen(kWhyRequest)))
                                               : jsonText(source_().dictionary())) +
               "\n";
      });
  if (opened) {
    socket_ = std::move(opened.value());
  } else {
    warn("ksbeacon status will not find this service: " + opened.error().localizedDescription());
  }
  if (!metrics_.empty()) writeMetrics();
}

HealthPost::~HealthPost() {
  std::error_code ignored;
  if (!metrics_.empty()) fs::remove(metrics_, ignored);
}

void HealthPost::writeMetrics() {
  const bool isWritten = replaceReadable(metrics_, healthMetrics(source_()));
  if (!isWritten && !std::exchange(isComplained_, true)) {
    warn(metrics_.string() + ": the metrics could not be written");
  }
  if (isWritten) isComplained_ = false;
  next_.arm(mainQueue_, kInterval, [this] { writeMetrics(); });
}

}  // namespace ks::tool
