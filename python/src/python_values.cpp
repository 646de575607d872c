#include "python_values.hpp"

#include "arrays.hpp"

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace ostrajson {

namespace {

PyObject* orThrow(PyObject* made) {
    if (made == nullptr) {
        throw nb::python_error();
    }
    return made;
}

bool isAscii(const char* text, std::size_t size) {
    std::uint64_t seen = 0;
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, text + i, sizeof word);
        seen |= word;
    }
    for (; i < size; ++i) {
        seen |= static_cast<unsigned char>(text[i]);
    }
    return (seen & 0x8080808080808080U) == 0;
}

PyObject* makeStr(std::string_view text) {
    const auto size = static_cast<Py_ssize_t>(text.size());
    if (!isAscii(text.data(), text.size())) {
        return orThrow(PyUnicode_DecodeUTF8(text.data(), size, nullptr));
    }
    PyObject* const made = orThrow(PyUnicode_New(size, 0x7F));
    if (size != 0) {
        std::memcpy(PyUnicode_DATA(made), text.data(), text.size());
    }
    return made;
}

std::string_view textOf(const rapidjson::Value& string) {
    return {string.GetString(), string.GetStringLength()};
}

/// Keys of records repeat, and so do short texts: each is made once, and hashed once.
class StrCache {
public:
    StrCache() = default;

    /// The cache of the keys of all documents: a small document is read in the time that it takes
    /// to set one up and to clear it. It stays until the end of the process.
    static StrCache& ofKeys() {
        static StrCache& cache = *new StrCache;
        return cache;
    }

    ~StrCache() {
        for (PyObject* key : keys_) {
            Py_XDECREF(key);
        }
    }
    StrCache(const StrCache&) = delete;
    StrCache& operator=(const StrCache&) = delete;

    /// @return a new reference.
    PyObject* str(std::string_view text) {
        if (text.size() > longest) {
            return makeStr(text);
        }
        PyObject*& kept = keys_[slotOf(text)];
        if (kept == nullptr || !isText(kept, text)) {
            PyObject* const made = makeStr(text);
            if (!PyUnicode_IS_ASCII(made)) {
                return made;
            }
            PyObject_Hash(made); // kept in the object
            Py_XDECREF(kept);
            kept = made;
        }
        return Py_NewRef(kept);
    }

private:
    static constexpr std::size_t longest = 64;
    static constexpr std::size_t slots = 1024;

    /// Length, ends and middle tell the keys of a document apart as a rule; if two share a slot,
    /// they are made anew.
    static std::size_t slotOf(std::string_view text) {
        std::uint64_t hash = text.size();
        if (text.size() >= 8) {
            std::uint64_t first = 0;
            std::uint64_t last = 0;
            std::memcpy(&first, text.data(), 8);
            std::memcpy(&last, text.data() + text.size() - 8, 8);
            hash += first * 0x9E3779B97F4A7C15U ^ last;
        } else {
            for (const char c : text) {
                hash = hash * 131 + static_cast<unsigned char>(c);
            }
        }
        return (hash * 0x9E3779B97F4A7C15U) >> 54U;
    }
    static_assert(slots == std::size_t{1} << (64 - 54));

    static bool isText(PyObject* kept, std::string_view text) {
        return text == std::string_view(static_cast<const char*>(PyUnicode_DATA(kept)),
                                        static_cast<std::size_t>(PyUnicode_GET_LENGTH(kept)));
    }

    std::array<PyObject*, slots> keys_{};
};

/// Lets no garbage collection run: one would go through all that has been made so far, again and
/// again, and could run finalizers, which could do anything to the document.
class NoCollection {
public:
    NoCollection() : was_(PyGC_Disable()) {}
    ~NoCollection() {
        if (was_ != 0) {
            PyGC_Enable();
        }
    }
    NoCollection(const NoCollection&) = delete;
    NoCollection& operator=(const NoCollection&) = delete;

private:
    int was_;
};

/// Builds the objects of values, with a path of its own instead of the native stack.
class Builder {
public:
    ~Builder() {
        for (const Level& level : path_) {
            Py_DECREF(level.made);
        }
    }

    /// @return a new reference.
    PyObject* build(const rapidjson::Value& root) {
        PyObject* made = begin(root);
        while (!path_.empty()) {
            if (made != nullptr) {
                put(path_.back(), made);
            }
            const Level& level = path_.back();
            made = level.next < level.count ? begin(level.value()) : end();
        }
        return made;
    }

private:
    /// A list or dict that is being filled.
    struct Level {
        PyObject* made;
        const rapidjson::Value* elements;        // of an array, or
        const rapidjson::Value::Member* members; // of an object
        std::size_t count;
        std::size_t next;

        const rapidjson::Value& value() const {
            return members != nullptr ? members[next].value : elements[next];
        }
    };

    /// Makes a scalar or an empty container; of another container, a level.
    /// @return the object, or null if a level was begun.
    PyObject* begin(const rapidjson::Value& value) {
        switch (value.GetType()) {
        case rapidjson::kNullType:
            return Py_NewRef(Py_None);
        case rapidjson::kFalseType:
            return Py_NewRef(Py_False);
        case rapidjson::kTrueType:
            return Py_NewRef(Py_True);
        case rapidjson::kStringType:
            return makeStr(textOf(value));
        case rapidjson::kNumberType:
            return number(value);
        case rapidjson::kArrayType: {
            const std::size_t size = value.Size();
            nb::object list = nb::steal(orThrow(PyList_New(static_cast<Py_ssize_t>(size))));
            if (size != 0) {
                path_.push_back({list.ptr(), value.Begin(), nullptr, size, 0});
                static_cast<void>(list.release());
            }
            return list.release().ptr();
        }
        case rapidjson::kObjectType: {
            nb::object dict = nb::steal(orThrow(PyDict_New()));
            if (!value.ObjectEmpty()) {
                path_.push_back(
                    {dict.ptr(), nullptr, &*value.MemberBegin(), value.MemberCount(), 0});
                static_cast<void>(dict.release());
            }
            return dict.release().ptr();
        }
        }
        return Py_NewRef(Py_None);
    }

    static PyObject* number(const rapidjson::Value& value) {
        if (value.IsInt64()) {
            return orThrow(PyLong_FromLongLong(value.GetInt64()));
        }
        if (value.IsUint64()) {
            return orThrow(PyLong_FromUnsignedLongLong(value.GetUint64()));
        }
        return orThrow(PyFloat_FromDouble(value.GetDouble()));
    }

    PyObject* end() {
        PyObject* const made = path_.back().made;
        path_.pop_back();
        return made;
    }

    /// Puts the next entry into its list or dict, and takes its reference.
    void put(Level& level, PyObject* entry) {
        const std::size_t at = level.next++;
        if (level.elements != nullptr) {
            PyList_SET_ITEM(level.made, static_cast<Py_ssize_t>(at), entry);
            return;
        }
        const nb::object value = nb::steal(entry);
        const nb::object key = nb::steal(keys_.str(textOf(level.members[at].name)));
        if (PyDict_SetDefault(level.made, key.ptr(), entry) == nullptr) {
            throw nb::python_error();
        }
    }

    StrCache& keys_ = StrCache::ofKeys();
    std::vector<Level> path_;
};

} // namespace

nb::object toPython(const rapidjson::Value& value) {
    const NoCollection noCollection;
    Builder builder;
    return nb::steal(builder.build(value));
}

nb::list toPythonList(std::span<rapidjson::Value* const> values) {
    const NoCollection noCollection;
    Builder builder;
    nb::list list =
        nb::steal<nb::list>(orThrow(PyList_New(static_cast<Py_ssize_t>(values.size()))));
    for (std::size_t i = 0; i < values.size(); ++i) {
        PyList_SET_ITEM(list.ptr(), static_cast<Py_ssize_t>(i), builder.build(*values[i]));
    }
    return list;
}

nb::object textArray(std::size_t size,
                     const std::function<std::optional<std::string_view>(std::size_t)>& text,
                     nb::handle missing) {
    StrCache cache;
    return objectArray(size, [&](std::size_t i) {
        const auto one = text(i);
        return one ? cache.str(*one) : Py_NewRef(missing.ptr());
    });
}

} // namespace ostrajson
