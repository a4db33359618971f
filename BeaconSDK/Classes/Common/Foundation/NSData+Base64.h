#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Value.h"

/// Returns the Base64 text of `length` bytes (RFC 4648, padded), NUL-terminated. With
/// `separateLines`, CR LF follows every 64 characters, but not the last ones. `outputLength` may be
/// null; it receives the number of characters. The caller frees the text with `std::free`; null
/// when out of memory.
char* NewBase64Encode(const void* buffer, std::size_t length, bool separateLines,
                      std::size_t* outputLength);

/// Returns the bytes of Base64 text. Skips characters outside the alphabet, padding included. The
/// two largest values of `length` mean: up to the terminating NUL. A complete group of four
/// characters gives 3 bytes, a last one of three 2, of two 1, of one 0; if only skipped characters
/// follow a complete group, one byte is removed. The caller frees the bytes with `std::free`; null
/// when out of memory.
void* NewBase64Decode(const char* inputBuffer, std::size_t length, std::size_t* outputLength);

namespace ks::NSDataBase64 {

/// Encoded with line separation.
std::string base64EncodedString(const Data& data);
std::string base64EncodedString(std::string_view bytes);
/// Characters beyond ASCII are skipped like any other outside the alphabet.
Data dataFromBase64String(std::string_view text);

}  // namespace ks::NSDataBase64
