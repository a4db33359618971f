#pragma once

#include "tools/ksbeacon/host/LibraryHost.h"
#include "tools/ksbeacon/timeline/TimelineRecorder.h"

namespace ks::tool {

/// What a recording keeps of the host application, so that a replay makes an equal one. Never the
/// password.
Dictionary hostDetails(const LibraryHost::Options& library,
                       const TimelineRecorder::Options& timeline);

LibraryHost::Options libraryOptionsIn(const Dictionary& host);
TimelineRecorder::Options timelineOptionsIn(const Dictionary& host);

}  // namespace ks::tool
