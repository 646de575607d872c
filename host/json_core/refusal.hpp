#pragma once

/// Why a text is refused that was read by other means than the ordinary reader.

#include <ostra/io/json/core/record_reader.hpp>

#include <optional>
#include <string_view>

namespace ostra::io::json::core {

/// The contexts in which the root value is due, not at the start of the text, and in which it is
/// complete. At the start of a text the context is empty.
inline constexpr std::string_view inFrontOfAll = " ";
inline constexpr std::string_view behindAll = "0 ";

/// What the ordinary reader says of a text that goes on from the inside of another: so there is one
/// source of messages.
///
/// @param context  brings the reader into the state in which the rest is due, e.g. `{"":0`.
/// @param rest     the rest, as far as it is known; well-formed UTF-8.
/// @return the first error in the rest, its offset counted from there; empty if there is none,
///         or if more of the rest could make it another one.
std::optional<Refusal> refusalIn(std::string_view context, const Window& rest,
                                 const ReadJSONDocumentOptions& options);

} // namespace ostra::io::json::core
