#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>

#include "BeaconSDK/Platform/Recorded/RecordingCodec.h"
#include "BeaconSDK/Platform/Recorded/RecordingFile.h"

/// Recordings of any content are read up to what is damaged, and entries that can be read can be
/// written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ks::RecordingFileReader blocks(
      std::make_unique<std::istringstream>(std::string(reinterpret_cast<const char*>(data), size)));
  while (blocks.next()) {
  }
  ks::RecordingDecoder decoder;
  decoder.setBlock({data, data + size});
  ks::RecordingEncoder encoder;
  ks::RecordedEvent event;
  std::size_t count = 0;
  for (; decoder.next(event); ++count) encoder.add(event);
  ks::RecordingDecoder again;
  again.setBlock(encoder.bytes());
  while (again.next(event)) --count;
  if (count != 0 || !again.isSound()) __builtin_trap();
  return 0;
}
