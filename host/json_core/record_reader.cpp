#include "blank.hpp"
#include "block_source.hpp"
#include "element_search.hpp"
#include "line_reading.hpp"
#include "parse_error.hpp"
#include "projected_reader.hpp"
#include "record_loop.hpp"
#include "strict_reader.hpp"
#include "text_reader.hpp"
#include "utf8.hpp"
#include "value_builder.hpp"

#include <ostra/io/json/core/record_reader.hpp>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

namespace ostra::io::json::core {

namespace {

const std::u16string noName;

/// What the values of one call lie in.
///
/// On virtual machines memory that is touched for the first time costs more than parsing into it:
/// so the pool begins with a buffer that serves one call after the other.
struct ValueMemory {
    ValueMemory(char* buffer, std::size_t size, std::size_t textSize)
        : pool(buffer, size), blocks(pool, textSize, BlockSource::Threads::one), values(blocks),
          kept(blocks) {}

    rapidjson::Document::AllocatorType pool;
    BlockSource blocks;
    ValueBuilder values;
    ValueBuilder kept;
};

} // namespace

class RecordReader::Impl {
public:
    Impl(const ReadJSONDocumentOptions& options, BigIntegerRule bigIntegers,
         std::vector<WantedPlace> wanted)
        : options_(options), bigIntegers_(bigIntegers) {
        if (!wanted.empty()) {
            projection_.emplace(std::move(wanted));
        }
    }
    ~Impl() {
        memory_.reset();
        std::free(buffer_);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    Records readRecords(const Window& window, std::size_t begin, std::size_t limit, Due due,
                        bool isObject) {
        if (auto records = readStrictly(window, begin, limit, due, isObject)) {
            return *std::move(records);
        }
        const std::string_view rest = window.bytes.substr(begin);
        const std::size_t visible = rest.size() - (window.isLast ? 0 : incompleteTail(rest));
        const std::size_t wellFormed = findMalformedUtf8(rest.substr(0, visible));
        const bool isMalformed = wellFormed != visible;
        const Window known{window.bytes.substr(0, begin + wellFormed),
                           window.isLast && !isMalformed};
        beginCall(std::min(limit, known.bytes.size()) - begin);
        Records records = readWellFormed(known, begin, limit, due, isObject);
        if (records.stop == Records::Stop::Cut && isMalformed) {
            records.stop = Records::Stop::Refused;
            records.refusal = {.offset = begin + wellFormed,
                               .reason = malformedReason(rest[wellFormed])};
        }
        return records;
    }

    Lines readLines(std::string_view text, bool isStart, bool skipBad, std::size_t mostDescribed) {
        beginCall(text.size());
        const LineReading::Options options{.syntax = options_,
                                           .bigIntegers = bigIntegers_,
                                           .skipBad = skipBad,
                                           .mostDescribed = mostDescribed};
        LineReading lines(text, isStart, options, memory_->values, memory_->kept);
        return lines.read(projection());
    }

private:
    /// Makes the memory as new, with a buffer for the values of so much text.
    void beginCall(std::size_t textSize) {
        constexpr std::size_t smallest = std::size_t{64} << 10U;
        constexpr std::size_t largest = std::size_t{4} << 20U; // more is given back after the call
        // The pool's and the blocks' own headers, and a rest that was too small for a value.
        constexpr std::size_t slack = 4096;
        std::size_t wanted = valuesPerText * textSize + slack;
        if (memory_) {
            const std::size_t used = memory_->pool.Size();
            wanted = std::max(wanted, used > bufferSize_ ? used + used / 4 : 0);
            memory_.reset();
        }
        wanted = std::clamp(wanted, smallest, largest);
        if (wanted > bufferSize_) {
            std::free(buffer_);
            bufferSize_ = 0;
            buffer_ = static_cast<char*>(std::malloc(wanted));
            if (buffer_ == nullptr) {
                throw std::bad_alloc();
            }
            bufferSize_ = wanted;
        }
        memory_.emplace(buffer_, bufferSize_, textSize);
    }

    /// Reads what is strict JSON, by the fast reader.
    /// @return empty if that does not get to the limit or the end of the array.
    std::optional<Records> readStrictly(const Window& window, std::size_t begin, std::size_t limit,
                                        Due due, bool isObject) {
        if ((isObject && projection() == nullptr) || due == Due::CommaOrEnd) {
            return std::nullopt;
        }
        begin = skipBlank(window.bytes, begin, false);
        // That reader declines texts that end with a digit, which a window does at random.
        std::string_view rest = window.bytes.substr(begin);
        rest = rest.substr(0, rest.find_last_not_of("0123456789") + 1);
        if (begin >= limit || rest.empty()) {
            return std::nullopt;
        }
        beginCall(std::min(limit - begin, rest.size()));
        const auto [elements, isAscii] = readElementsStrictly(rest, limit - begin, isObject);
        if (elements.count == 0 || !(isAscii || isWellFormedUtf8(rest.substr(0, elements.end)))) {
            return std::nullopt;
        }
        // Behind a comma an element is due only if there is one: or else the comma is reported.
        if (elements.nextDue &&
            (elements.end == rest.size() || rest[elements.end] == (isObject ? '}' : ']') ||
             rest[elements.end] == '/')) {
            return std::nullopt;
        }
        RecordLoop loop(window, options_, isObject, begin + elements.end,
                        elements.nextDue ? Due::Record : Due::CommaOrEnd);
        if (loop.goToRecord(limit)) {
            return std::nullopt; // it does not fit in the window, or is for the other reader
        }
        Records records = loop.result();
        records.count = elements.count;
        records.hasBigIntegers = memory_->values.hasBigIntegers();
        if (Projection* const wanted = projection()) {
            records.first = wanted->rows();
            records.slots = wanted->slots();
        } else {
            records.first = memory_->values.stack().begin() + StrictReader::firstElement;
        }
        return records;
    }

    /// @return what was read, and whether it is known to be ASCII.
    std::pair<Elements, bool> readElementsStrictly(std::string_view text, std::size_t limit,
                                                   bool isObject) {
        if (Projection* const wanted = projection()) {
            using Form = ProjectedReader::Form;
            ProjectedReader reader(text, memory_->values, bigIntegers_, *wanted,
                                   isObject ? Form::Members : Form::Elements);
            const Elements elements = reader.read(limit);
            return {elements, reader.readOnlyAscii()};
        }
        StrictReader reader(text, memory_->values, bigIntegers_);
        const Elements elements = reader.readElements(limit);
        return {elements, reader.readOnlyAscii()};
    }

    /// @return null where records are read whole.
    Projection* projection() {
        return projection_ && !projection_->isGivenUp() ? &*projection_ : nullptr;
    }

    Records readWellFormed(const Window& window, std::size_t begin, std::size_t limit, Due due,
                           bool isObject) {
        RecordLoop loop(window, options_, isObject, begin, due);
        TextReader reader(noName, window.bytes, options_, memory_->values, bigIntegers_);
        try {
            while (loop.goToRecord(limit)) {
                loop.readRecord(reader);
            }
        } catch (const ParseError&) { // of which the records in front know nothing
            loop.fail();
        }
        Records records = loop.result();
        records.hasBigIntegers = memory_->values.hasBigIntegers();
        records.first = records.count != 0 ? &memory_->values.root() : nullptr;
        return records;
    }

    const ReadJSONDocumentOptions options_;
    const BigIntegerRule bigIntegers_;
    char* buffer_ = nullptr;
    std::size_t bufferSize_ = 0;
    std::optional<ValueMemory> memory_;
    std::optional<Projection> projection_;
};

RecordReader::RecordReader(const ReadJSONDocumentOptions& options, bool marksBigIntegers,
                           std::vector<WantedPlace> wanted)
    : impl_(std::make_unique<Impl>(
          options, marksBigIntegers ? BigIntegerRule::RoundAndMark : BigIntegerRule::Round,
          std::move(wanted))) {}
RecordReader::~RecordReader() = default;

Records RecordReader::readElements(const Window& window, std::size_t begin, std::size_t limit,
                                   Due due) {
    return impl_->readRecords(window, begin, limit, due, false);
}

Records RecordReader::readMembers(const Window& window, std::size_t begin, std::size_t limit,
                                  Due due) {
    return impl_->readRecords(window, begin, limit, due, true);
}

Lines RecordReader::readLines(std::string_view text, bool isStart, bool skipBad,
                              std::size_t mostDescribed) {
    return impl_->readLines(text, isStart, skipBad, mostDescribed);
}

std::size_t findRecord(std::string_view text, std::size_t from, std::size_t size, bool inObject) {
    return findElement(text, from, size, inObject);
}

} // namespace ostra::io::json::core
