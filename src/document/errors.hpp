#pragma once

/// The message classes of the library's own errors; each travels in a foundation exception.

#include "platform/exceptions.hpp"

#include <string>
#include <vector>

namespace OSTRA::io::json::common {

/// A selector that is no JSON Pointer; its only argument is the selector as UTF-8.
struct __attribute__((visibility("default"))) InvalidJSONPointer
    : foundation::core::except::BaseMsgID {
    template <class Text>
    explicit InvalidJSONPointer(const Text& selector)
        : BaseMsgID{{}, "OSTRA:io:json:common", "InvalidJSONPointer"} {
        // Not in the braces above, which copy a variant: see BaseMsgID.
        arguments.emplace_back(selector);
    }
};

} // namespace OSTRA::io::json::common

namespace OSTRA::string {

/// A missing element in an array of strings where a text is needed.
struct __attribute__((visibility("default"))) MissingNotSupported
    : foundation::core::except::BaseMsgID {
    MissingNotSupported() : BaseMsgID{{}, "OSTRA:string", "MissingNotSupported"} {}
};

} // namespace OSTRA::string

namespace ostra::io::json::tree {

/// Throws the foundation exception that carries `message`.
template <class Message>
[[noreturn]] void throwError(const Message& message) {
    throw foundation::core::except::Exception<Message, std::exception, void>(message);
}

} // namespace ostra::io::json::tree
