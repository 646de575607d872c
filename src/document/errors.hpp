#pragma once

/// Throwing the library's own errors.

#include <ostra/io/json/tree/errors.hpp>

#include <exception>

namespace ostra::io::json::tree {

/// Throws the foundation exception that carries `message`.
template <class Message>
[[noreturn]] void throwError(const Message& message) {
    throw foundation::core::except::Exception<Message, std::exception, void>(message);
}

} // namespace ostra::io::json::tree
