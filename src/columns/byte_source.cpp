#include "columns/byte_source.hpp"

#include "columns/stream_source.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ostra::io::json::columns {

/// What a source is made of, for this library alone.
class SourceAccess {
public:
    static bool isFile(const Source& source) { return source.isFile_; }
    static const std::string& name(const Source& source) { return source.name_; }
    static std::string_view text(const Source& source) { return source.text_; }
    static const Source::Read& read(const Source& source) { return source.read_; }
    static std::size_t begin(const Source& source) { return source.begin_; }
    static std::optional<std::size_t> size(const Source& source) { return source.size_; }
};

namespace {

[[noreturn]] void failToRead(const std::string& path, int error) {
    throw std::system_error(error, std::generic_category(), "cannot read '" + path + "'");
}

/// An open file, closed with its last owner.
class OpenFile {
public:
    explicit OpenFile(const std::string& path) : path_(path) {
        if (path.find('\0') != std::string::npos) {
            failToRead(path.substr(0, path.find('\0')), EINVAL); // another file would be opened
        }
        do {
            number_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
        } while (number_ < 0 && errno == EINTR);
        if (number_ < 0) {
            failToRead(path, errno);
        }
    }
    ~OpenFile() { ::close(number_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// @return its size; empty if only reading shows it.
    std::optional<std::size_t> size() const {
        struct stat status {};
        if (::fstat(number_, &status) != 0) {
            failToRead(path_, errno);
        }
        // Files that the system makes up while they are read have a size of 0.
        return S_ISREG(status.st_mode) && status.st_size > 0
                   ? std::optional(static_cast<std::size_t>(status.st_size))
                   : std::nullopt;
    }

    /// @return bytes read; 0 at the end.
    std::size_t readAt(std::size_t offset, char* to, std::size_t size) const {
        return checked([&] { return ::pread(number_, to, size, static_cast<off_t>(offset)); });
    }
    std::size_t readNext(char* to, std::size_t size) const {
        return checked([&] { return ::read(number_, to, size); });
    }

    const std::string& path() const { return path_; }

private:
    template <class Call>
    std::size_t checked(const Call& call) const {
        ssize_t got = -1;
        do {
            got = call();
        } while (got < 0 && errno == EINTR);
        if (got < 0) {
            failToRead(path_, errno);
        }
        return static_cast<std::size_t>(got);
    }

    std::string path_;
    int number_ = -1;
};

/// A mapped file that someone truncates kills the process that looks at it: so it is read.
class FileSource : public ByteSource {
public:
    FileSource(std::shared_ptr<const OpenFile> file, std::size_t begin, std::size_t size)
        : file_(std::move(file)), begin_(begin), size_(size) {}

    std::string_view read(std::size_t offset, std::size_t size, ReadBuffer& buffer) override {
        size = std::min(size, size_ - std::min(offset, size_));
        char* const to = buffer.require(size);
        for (std::size_t have = 0; have < size;) {
            const std::size_t got = file_->readAt(begin_ + offset + have, to + have, size - have);
            if (got == 0) {
                throw std::runtime_error("cannot read '" + file_->path() +
                                         "': it became shorter while it was read");
            }
            have += got;
        }
        return {to, size};
    }

    std::optional<std::size_t> size() const override { return size_; }

private:
    std::shared_ptr<const OpenFile> file_;
    std::size_t begin_; // of the text in the file
    std::size_t size_;  // of the text: that of a whole file when it was opened
};

class MemorySource : public ByteSource {
public:
    explicit MemorySource(std::string_view text) : text_(text) {}

    std::string_view read(std::size_t offset, std::size_t size, ReadBuffer& /*buffer*/) override {
        return text_.substr(std::min(offset, text_.size()), size);
    }

    std::optional<std::size_t> size() const override { return text_.size(); }

private:
    std::string_view text_;
};

} // namespace

ByteSource::~ByteSource() = default;

Source Source::file(std::string path) {
    Source source;
    source.isFile_ = true;
    source.name_ = std::move(path);
    return source;
}

Source Source::file(std::string path, std::size_t begin, std::size_t size) {
    Source source = file(std::move(path));
    source.begin_ = begin;
    source.size_ = size;
    return source;
}

Source Source::memory(std::string_view text, std::string name) {
    Source source;
    source.text_ = text;
    source.name_ = std::move(name);
    return source;
}

Source Source::stream(Read read, std::string name, std::optional<std::size_t> size) {
    Source source;
    source.read_ = std::move(read);
    source.name_ = std::move(name);
    source.size_ = size;
    return source;
}

const std::string& nameOf(const Source& source) {
    return SourceAccess::name(source);
}

std::unique_ptr<ByteSource> openSource(const Source& source) {
    if (SourceAccess::isFile(source)) {
        auto file = std::make_shared<const OpenFile>(SourceAccess::name(source));
        const std::size_t begin = SourceAccess::begin(source);
        const std::optional<std::size_t> all = file->size();
        if (const auto part = SourceAccess::size(source)) {
            const std::size_t there = all.value_or(0);
            if (begin > there || *part > there - begin) {
                throw std::runtime_error("cannot read '" + file->path() + "': it has only " +
                                         std::to_string(there) + " bytes");
            }
            return std::make_unique<FileSource>(std::move(file), begin, *part);
        }
        if (all) {
            return std::make_unique<FileSource>(std::move(file), 0, *all);
        }
        return std::make_unique<StreamSource>(
            [file](char* to, std::size_t size) { return file->readNext(to, size); }, std::nullopt);
    }
    if (SourceAccess::read(source)) {
        return std::make_unique<StreamSource>(SourceAccess::read(source),
                                              SourceAccess::size(source));
    }
    return std::make_unique<MemorySource>(SourceAccess::text(source));
}

} // namespace ostra::io::json::columns
