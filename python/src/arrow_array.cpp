#include "arrow_array.hpp"

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

namespace ostrajson {

namespace {

/// What a structure that a consumer holds has of children.
template <class Structure>
class Children {
public:
    explicit Children(std::size_t count) : children_(count), pointers_(count) {
        for (std::size_t i = 0; i < count; ++i) {
            pointers_[i] = &children_[i];
        }
    }
    /// A consumer may have moved some of them out: these are marked as released.
    ~Children() {
        for (Structure& child : children_) {
            release(child);
        }
        release(dictionary_);
    }
    Children(const Children&) = delete;
    Children& operator=(const Children&) = delete;

    template <class Export>
    void fill(const ArrowParts& parts, Structure* out, const Export& exportOne) {
        for (std::size_t i = 0; i < parts.children.size(); ++i) {
            exportOne(parts.children[i], &children_[i]);
        }
        out->n_children = static_cast<std::int64_t>(children_.size());
        out->children = children_.empty() ? nullptr : pointers_.data();
        if (parts.dictionary) {
            exportOne(*parts.dictionary, &dictionary_);
            out->dictionary = &dictionary_;
        }
    }

private:
    std::vector<Structure> children_;
    std::vector<Structure*> pointers_;
    Structure dictionary_{};
};

template <class Structure, class Held>
void giveAway(std::unique_ptr<Held> held, Structure* out) {
    out->private_data = held.release();
    out->release = [](Structure* structure) {
        delete static_cast<Held*>(structure->private_data);
        structure->release = nullptr;
    };
}

/// A number as the interface's metadata have it: in the machine's own byte order.
void append(std::string& bytes, std::size_t number) {
    const auto value = static_cast<std::int32_t>(number);
    bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

std::string metadata(const std::string& extension) {
    std::string bytes;
    if (extension.empty()) {
        return bytes;
    }
    append(bytes, 2);
    for (const std::string& text : {std::string("ARROW:extension:name"), extension,
                                    std::string("ARROW:extension:metadata"), std::string()}) {
        append(bytes, text.size());
        bytes += text;
    }
    return bytes;
}

struct HeldSchema {
    explicit HeldSchema(const ArrowParts& parts)
        : format(parts.format), name(parts.name), metadata(ostrajson::metadata(parts.extension)),
          children(parts.children.size()) {}

    std::string format;
    std::string name;
    std::string metadata;
    Children<ArrowSchema> children;
};

struct HeldArray {
    explicit HeldArray(const ArrowParts& parts)
        : buffers(parts.buffers), owners(parts.owners), children(parts.children.size()) {}

    std::vector<const void*> buffers;
    std::vector<std::shared_ptr<const void>> owners;
    Children<ArrowArray> children;
};

struct HeldStream {
    std::shared_ptr<const ArrowParts> parts;
    bool isDone = false;
};

HeldStream& held(ArrowArrayStream* stream) {
    return *static_cast<HeldStream*>(stream->private_data);
}

template <class Export>
int withoutExceptions(const Export& exportOne) {
    try {
        exportOne();
        return 0;
    } catch (const std::exception&) { // there is no memory: nothing else can fail
        return ENOMEM;
    }
}

} // namespace

void exportSchema(const ArrowParts& parts, ArrowSchema* out) {
    auto held = std::make_unique<HeldSchema>(parts);
    *out = {};
    out->format = held->format.c_str();
    out->name = held->name.c_str();
    out->metadata = held->metadata.empty() ? nullptr : held->metadata.data();
    out->flags = parts.isNullable ? arrowNullable : 0;
    held->children.fill(parts, out, exportSchema);
    giveAway(std::move(held), out);
}

void exportArray(const ArrowParts& parts, ArrowArray* out) {
    auto held = std::make_unique<HeldArray>(parts);
    *out = {};
    out->length = parts.length;
    out->null_count = parts.missing;
    out->n_buffers = static_cast<std::int64_t>(held->buffers.size());
    out->buffers = held->buffers.data();
    held->children.fill(parts, out, exportArray);
    giveAway(std::move(held), out);
}

void exportStream(std::shared_ptr<const ArrowParts> parts, ArrowArrayStream* out) {
    *out = {};
    out->get_schema = [](ArrowArrayStream* stream, ArrowSchema* schema) {
        return withoutExceptions([&] { exportSchema(*held(stream).parts, schema); });
    };
    out->get_next = [](ArrowArrayStream* stream, ArrowArray* array) {
        return withoutExceptions([&] {
            *array = {}; // the end is an array that is released already
            if (!held(stream).isDone) {
                exportArray(*held(stream).parts, array);
                held(stream).isDone = true;
            }
        });
    };
    out->get_last_error = [](ArrowArrayStream* /*stream*/) -> const char* { return nullptr; };
    giveAway(std::make_unique<HeldStream>(HeldStream{std::move(parts)}), out);
}

} // namespace ostrajson
