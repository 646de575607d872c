#include "chunked_reading.hpp"

#include "base/parallel_loop.hpp"
#include "element_search.hpp"
#include "parse_error.hpp"
#include "strict_reader.hpp"
#include "text_reader.hpp"
#include "utf8.hpp"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace ostra::io::json::core {

namespace {

/// @return where chunks seem to begin, in order, all behind the start of the text.
std::vector<std::size_t> chunkBeginnings(std::string_view text, std::size_t chunkSize) {
    // Enough to see some records whole, little beside the chunk.
    const std::size_t window = std::min(chunkSize, std::size_t{16} << 10U);
    std::vector<std::size_t> beginnings(std::max<std::size_t>(text.size() / chunkSize, 1) - 1);
    base::parallelLoop(beginnings.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            beginnings[i] = findElement(text, (i + 1) * chunkSize, window);
        }
    });
    std::erase(beginnings, std::string_view::npos);
    return beginnings;
}

/// Reading with the fast reader, which only says whether it can read a text.
struct Strict {
    using Reader = StrictReader;

    Reader reader(std::string_view text, ValueBuilder& values) const {
        return {text, values, bigIntegers};
    }

    static void requireUtf8(std::string_view text, std::size_t begin, std::size_t end) {
        if (!isWellFormedUtf8(text.substr(begin, end - begin))) {
            throw NotStrict();
        }
    }

    BigIntegerRule bigIntegers;
};

/// Reading with the reader that knows all options and reports every error.
struct Plain {
    using Reader = TextReader;

    Reader reader(std::string_view text, ValueBuilder& values) const {
        return {sourceName, text, options, values, bigIntegers};
    }

    void requireUtf8(std::string_view text, std::size_t begin, std::size_t end) const {
        const std::string_view part = text.substr(begin, end - begin);
        const std::size_t malformed = findMalformedUtf8(part);
        if (malformed != part.size()) {
            throwMalformed(sourceName, text, begin + malformed);
        }
    }

    const std::u16string& sourceName;
    const ReadJSONDocumentOptions& options;
    BigIntegerRule bigIntegers;
};

/// A place in a sequence that one thread at a time goes on from. Others that come meanwhile do not
/// wait: the thread that has the turn finds what they have left for it.
class Turn {
public:
    /// @return the place to go on from; empty if another thread has it, or nobody has given it yet.
    std::optional<std::size_t> tryTake() {
        const std::size_t place = place_.exchange(taken);
        return place == taken ? std::nullopt : std::optional(place);
    }

    void giveBack(std::size_t place) { place_ = place; }

private:
    static constexpr std::size_t taken = std::string_view::npos;
    std::atomic<std::size_t> place_ = taken;
};

/// One text being read, by readers of one kind.
template <class Kind>
class ChunkedReading {
public:
    ChunkedReading(const Kind& kind, std::string_view text, std::size_t chunkSize,
                   rapidjson::Document::AllocatorType& pool)
        : kind_(kind), text_(text), blocks_(pool, text.size(), BlockSource::Threads::several),
          values_(blocks_), reader_(kind.reader(text, values_)) {
        for (const std::size_t beginning : chunkBeginnings(text, chunkSize)) {
            chunks_.emplace_back(beginning);
        }
    }

    /// Reads the text, all of it, once.
    /// @return the root value.
    rapidjson::Value& read() {
        reader_.start();
        if (chunks_.empty()) {
            readStart();
        } else {
            base::parallelLoop(chunks_.size() + 1, [this](std::size_t begin, std::size_t end) {
                for (; begin < end; ++begin) {
                    readNextStretch();
                    advanceReader();
                }
            });
            advanceReader();
        }
        if (reader_.valueDue()) {
            reader_.readTo(std::string_view::npos);
        }
        reader_.finish();
        return values_.root();
    }

private:
    struct Chunk {
        explicit Chunk(std::size_t beginning) : begin(beginning) {}

        std::size_t begin; // position of the first element in the text
        std::unique_ptr<ValueBuilder> values;
        Elements elements; // what was read, with positions from `begin`
        std::atomic<bool> isRead = false;
    };

    std::size_t beginOfChunk(std::size_t k) const {
        return k < chunks_.size() ? chunks_[k].begin : text_.size();
    }

    /// Stretches are handed out in the order of the text, whatever sub-ranges the loop is cut into:
    /// so what was read ahead does not wait for long, and the memory it waits in serves again.
    void readNextStretch() {
        const std::size_t stretch = nextStretch_++;
        if (stretch == 0) {
            readStart();
        } else {
            readAhead(stretch - 1);
        }
    }

    /// Reads what lies in front of the first chunk.
    void readStart() {
        const std::size_t limit = beginOfChunk(0);
        kind_.requireUtf8(text_, 0, limit);
        reader_.readTo(limit);
        nextChunk_.giveBack(0);
    }

    void readAhead(std::size_t k) {
        Chunk& chunk = chunks_[k];
        const std::size_t limit = beginOfChunk(k + 1);
        kind_.requireUtf8(text_, chunk.begin, limit);
        chunk.values = takeBuilder();
        typename Kind::Reader ahead = kind_.reader(text_.substr(chunk.begin), *chunk.values);
        chunk.elements = ahead.readElements(limit - chunk.begin);
        chunk.values->releaseRest();
        chunk.isRead = true;
    }

    /// Takes the reader through the chunks that have been read, unless another thread does.
    void advanceReader() {
        const std::optional<std::size_t> next = nextChunk_.tryTake();
        if (!next) {
            return;
        }
        std::size_t k = *next;
        for (; k < chunks_.size() && chunks_[k].isRead; ++k) {
            passChunk(chunks_[k]); // if this throws, nobody takes the reader any further
        }
        nextChunk_.giveBack(k);
    }

    /// Goes on to the end of a chunk, taking it over if it fits.
    void passChunk(Chunk& chunk) {
        const Elements& elements = chunk.elements;
        if (reader_.valueDue() && reader_.position() < chunk.begin) {
            reader_.readTo(chunk.begin);
        }
        if (elements.count != 0 && reader_.elementDueAt(chunk.begin)) {
            values_.reserveFor(elements.count, likelyRest(chunk));
            reader_.adopt({elements.count, chunk.begin + elements.end, elements.nextDue},
                          *chunk.values);
        } else {
            chunk.values->discard();
        }
        giveBuilderBack(std::move(chunk.values));
    }

    /// As a rule most of a long text is one array, whose elements are much the same. Only a guess:
    /// it must not request more memory than the values of a usual text take.
    std::size_t likelyRest(const Chunk& chunk) const {
        const double perByte =
            static_cast<double>(chunk.elements.count) / static_cast<double>(chunk.elements.end);
        const auto rest = static_cast<double>(text_.size() - chunk.begin);
        return std::min(static_cast<std::size_t>(1.02 * perByte * rest),
                        valuesPerText * text_.size() / sizeof(rapidjson::Value));
    }

    std::unique_ptr<ValueBuilder> takeBuilder() {
        const std::lock_guard lock(spareMutex_);
        if (spare_.empty()) {
            return std::make_unique<ValueBuilder>(blocks_);
        }
        std::unique_ptr<ValueBuilder> builder = std::move(spare_.back());
        spare_.pop_back();
        return builder;
    }

    void giveBuilderBack(std::unique_ptr<ValueBuilder> builder) {
        const std::lock_guard lock(spareMutex_);
        spare_.push_back(std::move(builder));
    }

    const Kind kind_;
    const std::string_view text_;
    BlockSource blocks_;
    ValueBuilder values_;
    typename Kind::Reader reader_; // goes through the whole text
    std::deque<Chunk> chunks_;
    std::atomic<std::size_t> nextStretch_ = 0; // the start of the text, then the chunks

    Turn nextChunk_; // the chunk that the reader comes to next; its owner has the reader

    std::mutex spareMutex_;
    std::vector<std::unique_ptr<ValueBuilder>> spare_; // as new, but with room for waiting values
};

bool readInOneGo(std::string_view text, BigIntegerRule bigIntegers, rapidjson::Document& document) {
    BlockSource blocks(document.GetAllocator(), text.size(), BlockSource::Threads::one);
    ValueBuilder values(blocks);
    StrictReader reader(text, values, bigIntegers);
    // ASCII, which most texts are, need not be validated.
    if (!reader.readAll() || (!reader.readOnlyAscii() && !isWellFormedUtf8(text))) {
        return false;
    }
    static_cast<rapidjson::Value&>(document) = values.root();
    return true;
}

} // namespace

bool readStrictly(std::string_view text, std::size_t chunkSize, rapidjson::Document& document,
                  BigIntegerRule bigIntegers) {
    if (text.size() < chunkSize || text.size() - chunkSize < chunkSize) {
        return readInOneGo(text, bigIntegers, document);
    }
    try {
        ChunkedReading<Strict> reading({bigIntegers}, text, chunkSize, document.GetAllocator());
        static_cast<rapidjson::Value&>(document) = reading.read();
        return true;
    } catch (const NotStrict&) {
        return false;
    }
}

rapidjson::Document readPlainly(const std::u16string& sourceName, std::string_view text,
                                const ReadJSONDocumentOptions& options, std::size_t chunkSize,
                                BigIntegerRule bigIntegers) {
    rapidjson::Document document;
    const Plain plain{.sourceName = sourceName, .options = options, .bigIntegers = bigIntegers};
    ChunkedReading<Plain> reading(plain, text, chunkSize, document.GetAllocator());
    try {
        static_cast<rapidjson::Value&>(document) = reading.read();
    } catch (const ParseError&) {
        // Malformed UTF-8 is reported before all else, wherever it stands; every stretch was looked
        // at only just before it was read, while it was on its way into the cache.
        plain.requireUtf8(text, 0, text.size());
        throw;
    }
    return document;
}

rapidjson::Document readInChunks(const std::u16string& sourceName, std::string_view text,
                                 const ReadJSONDocumentOptions& options, std::size_t chunkSize,
                                 BigIntegerRule bigIntegers) {
    rapidjson::Document document;
    if (!readStrictly(text, chunkSize, document, bigIntegers)) {
        document = readPlainly(sourceName, text, options, chunkSize, bigIntegers);
    }
    return document;
}

} // namespace ostra::io::json::core
