#pragma once

/// JSON values as Python objects.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <nanobind/nanobind.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

namespace ostrajson {

namespace nb = nanobind;

/// Makes what `json.loads` makes of the value: dict, list, str, int, float, bool or None. The first
/// member with a key counts. Needs the GIL; runs no Python code, so the document cannot change.
/// Cost: linear; any depth on any stack.
nb::object toPython(const rapidjson::Value& value);

/// A list of `toPython` of each.
nb::list toPythonList(std::span<rapidjson::Value* const> values);

/// An object array of str, with `missing` if a text is missing. Short texts that repeat share
/// one str.
nb::object textArray(std::size_t size,
                     const std::function<std::optional<std::string_view>(std::size_t)>& text,
                     nb::handle missing);

} // namespace ostrajson
