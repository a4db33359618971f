#pragma once

#include <string>

namespace ks::tool {

/// What is wrong with a file that somebody wrote, in terms of that file.
struct InputError {
  std::string file;
  /// Counted from 1; 0 when the mistake has no line, as with a file that cannot be read.
  int line = 0;
  /// Where in the document: "beacons[2].major"; empty for the document as a whole.
  std::string member;
  /// What would have been right, and what stands there.
  std::string expected;

  /// "FILE:LINE: MEMBER: EXPECTED", always one line.
  std::string message() const;
};

}  // namespace ks::tool
