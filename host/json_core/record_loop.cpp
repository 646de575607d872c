#include "record_loop.hpp"

#include "blank.hpp"
#include "refusal.hpp"

namespace ostra::io::json::core {

namespace {

/// A text whose reader then is where a loop is.
std::string_view contextOf(Due due, bool isObject) {
    switch (due) {
    case Due::FirstOrEnd:
        return isObject ? "{" : "[";
    case Due::Record:
        return isObject ? "{\"\":0," : "[0,";
    case Due::CommaOrEnd:
        return isObject ? "{\"\":0 " : "[0 ";
    }
    return {};
}

} // namespace

RecordLoop::RecordLoop(const Window& window, const ReadJSONDocumentOptions& options, bool isObject,
                       std::size_t begin, Due due)
    : window_(window), options_(options), isObject_(isObject) {
    records_.end = begin;
    records_.due = due;
}

bool RecordLoop::goToRecord(std::size_t limit) {
    if (hasStopped_) {
        return false;
    }
    const std::size_t size = window_.bytes.size();
    std::size_t at = skip(records_.end);
    if (at != size && records_.due != Due::Record && isClosing(at)) {
        return stop(Records::Stop::End, at + 1);
    }
    if (at != size && records_.due == Due::CommaOrEnd) {
        if (window_.bytes[at] != ',') {
            fail();
            return false;
        }
        records_.end = at; // a comma too many is reported where it stands
        at = skip(at + 1);
        if (at != size && isClosing(at) && options_.allowTrailingCommas) {
            return stop(Records::Stop::End, at + 1);
        }
        if (at == size || isClosing(at)) {
            fail();
            return false;
        }
        records_.due = Due::Record;
    }
    if (at == size) {
        fail();
        return false;
    }
    records_.end = at;
    return at < limit || stop(Records::Stop::Limit, at);
}

void RecordLoop::readRecord(TextReader& reader) {
    const std::size_t size = window_.bytes.size();
    std::size_t at = records_.end;
    if (isObject_) {
        if (window_.bytes[at] != '"') {
            return fail();
        }
        at = skip(reader.readValueAt(at));
        if (at == size || window_.bytes[at] != ':') {
            return fail();
        }
        at = skip(at + 1);
    }
    at = at == size ? at : reader.readValueAt(at);
    if (at == size) { // a number could go on
        return fail();
    }
    ++records_.count;
    records_.end = at;
    records_.due = Due::CommaOrEnd;
}

void RecordLoop::fail() {
    const Window rest{window_.bytes.substr(records_.end), window_.isLast};
    const auto refusal = refusalIn(contextOf(records_.due, isObject_), rest, options_);
    stop(refusal ? Records::Stop::Refused : Records::Stop::Cut, records_.end);
    if (refusal) {
        records_.refusal = {.offset = records_.end + refusal->offset, .reason = refusal->reason};
    }
}

bool RecordLoop::stop(Records::Stop reason, std::size_t end) {
    records_.stop = reason;
    records_.end = end;
    hasStopped_ = true;
    return false;
}

std::size_t RecordLoop::skip(std::size_t at) const {
    return skipBlank(window_.bytes, at, options_.allowComments);
}

} // namespace ostra::io::json::core
