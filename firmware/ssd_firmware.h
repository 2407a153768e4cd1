// The format of SSD firmware files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// An SSD firmware file: the firmware of a drive and the models that it is for. All of it is text but the binary.
///
///     offset     size  content
///     0             4  digits, not interpreted
///     4            16  identification, padded on the left with '0'
///     20           16  not interpreted
///     36            2  N, the number of models: two digits
///     38         16 N  the models, 16 bytes each; searched as one text
///     38 + 16 N    16  firmware version, padded on the left with '0'
///     54 + 16 N    16  L, the length of the binary: digits
///     70 + 16 N     L  the binary
namespace coupler::firmware {

constexpr size_t kCountSize = 2;
constexpr size_t kTextSize = 16;
constexpr size_t kMostModels = 99;

constexpr uint64_t kIdentificationAt = 4;
constexpr uint64_t kCountAt = 36;
constexpr uint64_t kModelsAt = 38;

constexpr uint64_t version_at(size_t models) { return kModelsAt + kTextSize * models; }
constexpr uint64_t length_at(size_t models) { return version_at(models) + kTextSize; }
constexpr uint64_t binary_at(size_t models) { return length_at(models) + kTextSize; }

/// Such a file is a part of a bundle, and positions in a bundle have 32 bits: no binary is longer.
constexpr uint64_t kLongestBinary = UINT32_MAX;

/// @return N; nothing unless `text` is two digits
std::optional<size_t> model_count(std::string_view text);

/// @return L; nothing unless `text` is a number that a binary can have, with nothing but blanks before it and nothing
///         or a blank behind it
std::optional<uint64_t> binary_length(std::string_view text);

/// @return `text` from its first character on that is not '0'
std::string_view without_padding(std::string_view text);

}  // namespace coupler::firmware
