#include "json_text.hpp"

#include "arguments.hpp"
#include "array_text.hpp"
#include "arrow_text.hpp"
#include "errors.hpp"

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

namespace ostrajson {

namespace {

/// Writes objects, with a path of its own instead of the native stack.
class Dump {
public:
    explicit Dump(const DumpOptions& options) : options_(options), out_(options.allowNaN) {}

    TextSink write(nb::handle root) {
        begin(root);
        while (!path_.empty()) {
            if (!entry()) {
                end();
            }
        }
        return std::move(out_);
    }

private:
    /// A list, tuple, dict (as the list of its items) or array that is being written.
    struct Level {
        nb::object owner; // what it stands for, for finding circles
        nb::object items; // a list or tuple, or null for the members of `owner` as they stand
        Py_ssize_t count; // taken once: what grows meanwhile is not written
        Py_ssize_t next;  // as PyDict_Next counts, for those members
        bool isObject;
        bool isFirst; // whether nothing of it is written yet
        bool isMade;  // by `fallback`
    };

    void newLine() {
        if (options_.pretty) {
            out_.put('\n');
            for (std::size_t i = 0; i < path_.size(); ++i) {
                out_.put(options_.indent);
            }
        }
    }

    /// Writes the next entry of the innermost container, or opens it.
    /// @return false if there is none.
    bool entry() {
        Level& level = path_.back();
        nb::object name;
        nb::object value;
        if (!level.items.is_valid()) {
            PyObject* nextName = nullptr;
            PyObject* nextValue = nullptr;
            if (PyDict_Next(level.owner.ptr(), &level.next, &nextName, &nextValue) == 0) {
                return false;
            }
            name = nb::borrow(nextName);
            value = nb::borrow(nextValue);
        } else {
            // Code that `fallback` runs may shorten a list.
            if (level.next >= std::min(level.count, PySequence_Fast_GET_SIZE(level.items.ptr()))) {
                return false;
            }
            value = nb::borrow(PySequence_Fast_GET_ITEM(level.items.ptr(), level.next++));
            if (level.isObject) {
                name = nb::borrow(PyTuple_GET_ITEM(value.ptr(), 0));
                value = nb::borrow(PyTuple_GET_ITEM(value.ptr(), 1));
            }
        }
        if (!std::exchange(level.isFirst, false)) {
            out_.put(',');
        }
        newLine();
        if (level.isObject) {
            key(name);
            out_.put(options_.pretty ? std::string_view(": ") : std::string_view(":"));
        }
        begin(value);
        return true;
    }

    void end() {
        const bool isObject = path_.back().isObject;
        const bool isEmpty = path_.back().isFirst;
        made_ -= path_.back().isMade ? 1 : 0;
        if (path_.size() > circleDepth) {
            open_.erase(path_.back().owner.ptr());
        }
        path_.pop_back();
        if (!isEmpty) {
            newLine();
        }
        out_.put(isObject ? '}' : ']');
    }

    /// Writes a scalar, or opens a container.
    void begin(nb::handle object) {
        PyObject* const o = object.ptr();
        if (PyUnicode_Check(o)) {
            string(object);
        } else if (o == Py_None) {
            out_.put("null");
        } else if (PyBool_Check(o)) {
            out_.put(o == Py_True ? std::string_view("true") : std::string_view("false"));
        } else if (PyLong_Check(o)) {
            integer(object);
        } else if (PyFloat_Check(o)) {
            out_.floating(PyFloat_AS_DOUBLE(o));
        } else if (PyDict_Check(o)) {
            beginDict(object);
        } else if (PyList_Check(o) || PyTuple_Check(o)) {
            open(object, nb::borrow(object), false);
        } else {
            other(object);
        }
    }

    void open(nb::handle owner, nb::object items, bool isObject) {
        const Py_ssize_t count = items.is_valid() ? PySequence_Fast_GET_SIZE(items.ptr()) : 0;
        path_.push_back({nb::borrow(owner), std::move(items), count, 0, isObject, true, false});
        out_.put(isObject ? '{' : '[');
        // An ordinary object is not that deep; one that holds itself gets there soon.
        if (path_.size() > circleDepth && !open_.insert(owner.ptr()).second) {
            PyErr_SetString(PyExc_ValueError, "Circular reference detected");
            throw nb::python_error();
        }
    }

    void beginDict(nb::handle dict) {
        if (PyDict_CheckExact(dict.ptr()) && !options_.sortKeys) {
            open(dict, nb::object(), true);
            return;
        }
        nb::object items = nb::steal(PyMapping_Items(dict.ptr()));
        if (!items.is_valid() || (options_.sortKeys && PyList_Sort(items.ptr()) != 0)) {
            throw nb::python_error();
        }
        for (const nb::handle item : items) { // a subclass may say anything
            if (!PyTuple_Check(item.ptr()) || PyTuple_GET_SIZE(item.ptr()) != 2) {
                raiseType("items()", "pairs", item);
            }
        }
        open(dict, std::move(items), true);
    }

    void key(nb::handle name) {
        PyObject* const o = name.ptr();
        if (PyUnicode_Check(o)) {
            string(name);
            return;
        }
        if (o != Py_None && !PyBool_Check(o) && !PyLong_Check(o) && !PyFloat_Check(o)) {
            PyErr_Format(PyExc_TypeError, "keys must be str, int, float, bool or None, not %s",
                         Py_TYPE(o)->tp_name);
            throw nb::python_error();
        }
        out_.put('"');
        begin(name);
        out_.put('"');
    }

    void string(nb::handle text) {
        PyObject* const o = text.ptr();
        if (PyUnicode_IS_COMPACT_ASCII(o)) {
            out_.string({static_cast<const char*>(PyUnicode_DATA(o)),
                         static_cast<std::size_t>(PyUnicode_GET_LENGTH(o))});
            return;
        }
        const nb::object bytes = nb::steal(PyUnicode_AsUTF8String(o));
        if (!bytes.is_valid()) {
            throw nb::python_error(); // UnicodeEncodeError
        }
        out_.string({PyBytes_AS_STRING(bytes.ptr()),
                     static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr()))});
    }

    void integer(nb::handle number) {
        int overflow = 0;
        const long long value = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
        if (overflow == 0) {
            out_.integer(value);
            return;
        }
        const nb::object digits = nb::steal(PyLong_Type.tp_repr(number.ptr()));
        if (!digits.is_valid()) {
            throw nb::python_error();
        }
        out_.put(textArgument(digits, "int"));
    }

    /// What is not of Python's own types: NumPy's, documents, nodes, and what the caller's
    /// function makes of others.
    void other(nb::handle object) {
        nb::object plain = nb::borrow(object);
        for (std::size_t attempts = 0; !isOwn(plain); ++attempts) {
            if (writeArray(out_, plain)) {
                return;
            }
            if (nb::isinstance<ArrowInput>(plain)) {
                writeArrow(out_, nb::cast<const ArrowInput&>(plain));
                return;
            }
            if (attempts == mostAttempts) {
                raiseValue("default", "what it returns cannot be written either");
            }
            plain =
                nb::module_::import_("ostrajson._plain").attr("plain")(plain, options_.fallback);
        }
        const std::size_t depth = path_.size();
        begin(plain);
        if (path_.size() > depth) {
            path_.back().isMade = true;
            if (++made_ > mostMade) {
                raiseValue("default", "what it returns holds objects for it again and again");
            }
        }
    }

    static bool isOwn(nb::handle object) {
        PyObject* const o = object.ptr();
        return o == Py_None || PyUnicode_Check(o) || PyLong_Check(o) || PyFloat_Check(o) ||
               PyDict_Check(o) || PyList_Check(o) || PyTuple_Check(o);
    }

    static constexpr std::size_t circleDepth = 1000;
    static constexpr std::size_t mostAttempts = 100;
    static constexpr std::size_t mostMade = 1000; // inside one another

    const DumpOptions& options_;
    TextSink out_;
    std::vector<Level> path_;
    std::unordered_set<PyObject*> open_; // the owners deeper than that
    std::size_t made_ = 0;               // on the path, by `fallback`
};

} // namespace

TextSink toJson(nb::handle object, const DumpOptions& options) {
    return Dump(options).write(object);
}

} // namespace ostrajson
