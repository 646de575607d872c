#pragma once

/// JSON texts from Python: str, bytes, or anything with a buffer.

#include <nanobind/nanobind.h>

#include <string_view>
#include <vector>

namespace ostrajson {

/// The bytes of a text, for as long as this object lives. They do not change meanwhile, whatever
/// other threads do: memory that may be written is copied unless the caller keeps the GIL, which it
/// does for a text below `smallText`.
class TextInput {
public:
    /// @throws nanobind::python_error  TypeError, naming the argument; UnicodeEncodeError for a
    ///                                 lone surrogate in a str; BufferError for a buffer in pieces.
    TextInput(nanobind::handle given, const char* argument);
    ~TextInput();
    TextInput(const TextInput&) = delete;
    TextInput& operator=(const TextInput&) = delete;

    std::string_view view() const { return view_; }

    /// Parsing a smaller text takes less than ten microseconds.
    static constexpr std::size_t smallText = 8192;

private:
    nanobind::object owner_;
    Py_buffer buffer_{};
    std::vector<char> copy_;
    std::string_view view_;
};

} // namespace ostrajson
