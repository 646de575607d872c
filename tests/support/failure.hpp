#pragma once

/// What an action fails with.

#include <exception>
#include <string>

namespace test {

/// @return the message of the `Error` that an action throws, "no exception" if it throws none.
template <class Error = std::exception>
std::string messageOf(const auto& action) {
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return "no exception";
}

} // namespace test
