// The version of the firmware package that its components make.
#pragma once

#include "support/text.h"

namespace coupler::firmware {

/// Composes the package version from the versions of the components: rommon's without its dots, a dot, and the code of
/// the others as the type of board has it. The last two characters of `fpga` do not count.
///
///     board   rommon  fpga     pseq   package
///     1       1.2.3   1.08.00  2.5    123.0108.0205
///     2, 3    1.2.3   2.03.00         123.0203
///     others  1.2.3   2.03.00         123.
///
/// @param package receives the version, cut to the field; empty when `fpga` has no more than two characters
/// @return false when a type 1 board's code does not consist of four numbers; it is left out
bool compose_package_version(int board, const char* rommon, const char* fpga, const char* pseq, Text package);

}  // namespace coupler::firmware
