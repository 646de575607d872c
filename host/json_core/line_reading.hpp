#pragma once

/// Reading JSON Lines.

#include "projection.hpp"
#include "text_reader.hpp"
#include "value_builder.hpp"

#include <ostra/io/json/core/parse_error.hpp>
#include <ostra/io/json/core/record_reader.hpp>

#include <string_view>

namespace ostra::io::json::core {

/// Reads the lines of one text, as `RecordReader::readLines` describes it.
class __attribute__((visibility("hidden"))) LineReading {
public:
    struct Options {
        ReadJSONDocumentOptions syntax;
        BigIntegerRule bigIntegers = BigIntegerRule::Round;
        bool skipBad = false;
        std::size_t mostDescribed = 1;
    };

    /// @param values  new ones; outlives the reading and then holds the values, one a record.
    /// @param kept    the same, for what was read in front of lines that are refused.
    LineReading(std::string_view text, bool isStart, const Options& options, ValueBuilder& values,
                ValueBuilder& kept);

    /// Reads all, once.
    /// @param wanted  takes the rows of values where only these are wanted; null otherwise.
    /// @throws std::bad_alloc
    Lines read(Projection* wanted = nullptr);

private:
    bool readStrictly(Projection* wanted);
    std::size_t readGoodLines(std::size_t lineBegin);
    void keepFresh();
    bool endsLine(std::size_t valueBegin, std::size_t& at) const;
    void readLineAlone(std::size_t begin, std::size_t end);
    bool readValueAlone(std::string_view line, bool isFirst);
    void refuse(std::size_t lineBegin, const ParseErrorFields& error);

    const std::string_view text_;
    const bool isStart_;
    const Options& options_;
    ValueBuilder& values_;
    ValueBuilder& kept_;
    std::size_t fresh_ = 0; // records in `values_`
    std::size_t keptCount_ = 0;
    bool isUtf8_ = true;
    Lines result_;
};

} // namespace ostra::io::json::core
