#pragma once

/// A header of the consumer's own under a name that one of the library's has, too.

#include <string_view>

inline constexpr std::string_view expectedError = "OSTRA:io:json:common:InvalidJSONPointer";
