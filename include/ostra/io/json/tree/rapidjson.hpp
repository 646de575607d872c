#pragma once

/// The one RapidJSON configuration that this library, its host and every consumer share.
///
/// RapidJSON is header-only and its types are laid out by macros, so two translation units with
/// different macros would silently disagree about the documents they exchange. Include this header
/// instead of RapidJSON's own; a translation unit that got another configuration first fails to
/// compile here with a message that says why.
///
/// The configuration: `rapidjson::SizeType` is `std::size_t` (documents above 4 GiB), pointers are
/// packed into 48 bits, and a value therefore takes 24 bytes and holds strings of up to 21 bytes
/// inline. `RAPIDJSON_NO_SIZETYPEDEFINE` may be defined on the compiler's command line; nothing
/// needs to be declared then.
/// See https://rapidjson.org/group___r_a_p_i_d_j_s_o_n___c_o_n_f_i_g.html.

#include <cstddef>

#if defined(RAPIDJSON_RAPIDJSON_H_) && !defined(RAPIDJSON_NO_SIZETYPEDEFINE)
#error "tviojsontree: include <ostra/io/json/tree/rapidjson.hpp> before any RapidJSON header, or \
configure RapidJSON with RAPIDJSON_NO_SIZETYPEDEFINE and a 64-bit rapidjson::SizeType."
#endif

#if defined(RAPIDJSON_48BITPOINTER_OPTIMIZATION) && RAPIDJSON_48BITPOINTER_OPTIMIZATION != 1
#error "tviojsontree: RapidJSON must be configured with RAPIDJSON_48BITPOINTER_OPTIMIZATION 1."
#endif
#ifndef RAPIDJSON_48BITPOINTER_OPTIMIZATION
#define RAPIDJSON_48BITPOINTER_OPTIMIZATION 1
#endif

// RapidJSON's SIMD string scan in release 1.1.0 lets control characters 0x1A to 0x1F through
// unescaped, which is invalid JSON (RFC 8259, section 7).
#if defined(RAPIDJSON_SSE2) || defined(RAPIDJSON_SSE42)
#error "tviojsontree: RAPIDJSON_SSE2 and RAPIDJSON_SSE42 write control characters unescaped."
#endif

#ifndef RAPIDJSON_NO_SIZETYPEDEFINE
#define RAPIDJSON_NO_SIZETYPEDEFINE
namespace rapidjson {
using SizeType = std::size_t;
}
#else
// The macro may come from the compiler's command line, with a declaration of the consumer's or
// without. From inside rapidjson, the default is found if there is none; what is found is then
// declared, perhaps again, and a type that is too narrow meets the assertion below.
namespace tviojsontree_default {
using SizeType = std::size_t;
}
namespace rapidjson {
namespace tviojsontree_declared {
using namespace ::tviojsontree_default; // NOLINT(google-build-using-namespace)
using Type = SizeType;
} // namespace tviojsontree_declared
using SizeType = tviojsontree_declared::Type;
} // namespace rapidjson
#endif

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>

static_assert(sizeof(rapidjson::SizeType) == 8,
              "tviojsontree needs RapidJSON with a 64-bit SizeType: include "
              "<ostra/io/json/tree/rapidjson.hpp> before any RapidJSON header");
static_assert(sizeof(rapidjson::Value) == 24,
              "tviojsontree needs RapidJSON values of 24 bytes: 64-bit SizeType and "
              "RAPIDJSON_48BITPOINTER_OPTIMIZATION 1");
