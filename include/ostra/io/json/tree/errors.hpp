#pragma once

/// @file
/// The library's own errors: message classes, each thrown in the foundation's exception, which is a
/// `std::exception` and an `IMsgIDException`. Catch one kind by
/// `foundation::core::except::Exception<Message, std::exception, void>`, all of them by
/// `foundation::core::except::IMsgIDException`, whose `GetID` tells them apart. Whatever else is
/// thrown comes from the host's or the standard library.

#include <ostra/io/json/tree/export.hpp>

#include "platform/exceptions.hpp"

namespace OSTRA::io::json::common {

/// A selector that is not a JSON Pointer (RFC 6901): identifier
/// "OSTRA:io:json:common:InvalidJSONPointer", its only argument the selector, a `std::string` in
/// UTF-8. Thrown by `LevelReader::cdSelector`.
struct TVIOJSONTREE_EXPORT InvalidJSONPointer : foundation::core::except::BaseMsgID {
    /// @param selector  the text that was refused.
    /// @throws std::bad_alloc
    template <class Text>
    explicit InvalidJSONPointer(const Text& selector)
        : BaseMsgID{{}, "OSTRA:io:json:common", "InvalidJSONPointer"} {
        // Not in the braces above, which copy a variant: see BaseMsgID.
        arguments.emplace_back(selector);
    }
};

} // namespace OSTRA::io::json::common

namespace OSTRA::string {

/// A missing element in an array of strings where a text is needed: identifier
/// "OSTRA:string:MissingNotSupported", no arguments. Thrown by `NodeVector::set_data` and
/// `NodeVector::set_keys`.
struct TVIOJSONTREE_EXPORT MissingNotSupported : foundation::core::except::BaseMsgID {
    /// @throws std::bad_alloc
    MissingNotSupported() : BaseMsgID{{}, "OSTRA:string", "MissingNotSupported"} {}
};

} // namespace OSTRA::string
