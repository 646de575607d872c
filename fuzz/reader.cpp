/// Any sequence of cursor operations: against a slow cursor on a second document.

#include "oracle/model.hpp"
#include "oracle/record.hpp"
#include "oracle/search.hpp"
#include "support.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <cstring>
#include <functional>
#include <limits>
#include <stdexcept>

namespace {

using namespace fuzz;
using tree::LevelReader;

bool isNumber(const Value& entry) {
    return entry.IsNumber();
}

/// Codes as the library's enumerations have them.
template <class Code>
Codes codesOf(const std::vector<Code>& values) {
    Codes codes;
    for (const Code value : values) {
        codes.push_back(static_cast<std::uint8_t>(value));
    }
    return codes;
}

class Session {
public:
    Session(const std::string& text, Choices& choices)
        : choices_(choices), reader_(LevelReader::MakeStringReader(u16(text), {})),
          model_(core::parse_json_document(u"", toBytes(text), {})) {}

    void run() {
        using Step = void (Session::*)();
        static const Step steps[] = {
            &Session::descend,     &Session::descend,        &Session::ascend,
            &Session::findName,    &Session::followSelector, &Session::setCurrentType,
            &Session::setKeyNames, &Session::setValueTypes,  &Session::setNumberTypes,
            &Session::setDoubles,  &Session::setUint64s,     &Session::setInt64s,
            &Session::setStrings,  &Session::compareLists};
        constexpr std::size_t longest = 200; // levels nest and the model walks them again each time
        for (std::size_t n = 0; !choices_.done() && n < longest; ++n) {
            (this->*steps[choices_.below(std::size(steps))])();
            if (n % 4 == 0) {
                compareTexts();
            }
        }
        compareLists();
        for (; !model_.atTop(); model_.cdup()) {
            reader_.cdup();
        }
        compareTexts();
        reader_.cdup(); // nothing is left to go up to
        compareTexts();
    }

private:
    // --- Moving ---------------------------------------------------------------------------------

    void descend() {
        const std::size_t index = choices_.below(8) == 7 ? ~std::size_t{0} : choices_.below(5);
        reader_.cd(index);
        model_.cd(index);
    }

    void ascend() {
        reader_.cdup();
        model_.cdup();
    }

    void findName() {
        const std::string name = choices_.shortText();
        const bool recursive = choices_.flag();
        const bool found = choices_.flag() ? reader_.cdNodeName(name, recursive)
                                           : reader_.cdNodeName(u16(name), recursive);
        check(found == model_.cdNodeName(name, recursive), "cdNodeName");
    }

    void followSelector() {
        std::string selector;
        for (std::size_t n = choices_.below(4); n > 0; --n) {
            selector += '/' + choices_.shortText();
        }
        const int form = static_cast<int>(choices_.below(4));
        selector.insert(0, form == 3 ? "x" : "");
        std::vector<std::string> tokens;
        const bool valid = splitSelector(selector, tokens);
        const core::JSONPointer parsed(selector.data(), selector.size());
        check(parsed.IsValid() == valid, "whether a selector is valid");
        try {
            const bool found = valid && form == 0 ? reader_.cdSelector(parsed)
                               : form == 1        ? reader_.cdSelector(u16(selector))
                                                  : reader_.cdSelector(selector);
            check(valid, "a malformed selector, accepted");
            check(found == model_.cdTokens(tokens), "cdSelector");
        } catch (const foundation::core::except::IMsgIDException& error) {
            check(!valid, "a selector, refused");
            check(error.GetBaseMsgIDObj().arguments ==
                      std::vector<foundation::core::except::MessageArgument>{selector},
                  "the argument of a refused selector");
        }
    }

    // --- Changing -------------------------------------------------------------------------------

    /// Calls a set operation; if its codes are not types, it must throw and change nothing.
    void expectRefusal(bool refused, const std::function<void()>& call) {
        try {
            call();
            check(!refused, "a code that is not a type, accepted");
        } catch (const std::out_of_range&) {
            check(refused, "codes of types, refused");
        }
    }

    /// Any code of a type, and now and then the one number that is not one although the enumeration
    /// can hold it: to make others would be undefined here, before they reach the library.
    int typeCode() { return static_cast<int>(choices_.below(32) == 31 ? 7 : choices_.below(7)); }

    void setCurrentType() {
        const int code = typeCode();
        expectRefusal(code > 6,
                      [&] { reader_.setCurrentType(static_cast<rapidjson::Type>(code)); });
        if (code <= 6) {
            model_.current() = Value(static_cast<rapidjson::Type>(code));
        }
    }

    void setKeyNames() {
        std::vector<std::u16string> names;
        Texts keys;
        for (std::size_t n = choices_.below(5); n > 0; --n) {
            names.push_back(u16(choices_.shortText()));
            keys.emplace_back(names.back());
        }
        reader_.setKeyNames(names);
        model_.current().SetObject();
        plainSetKeys({&model_.current()}, keys, model_.pool());
    }

    void setValueTypes() {
        std::vector<rapidjson::Type> types;
        Value& at = model_.current();
        const std::size_t used = at.IsArray() ? SIZE_MAX : model_.level().size();
        bool refused = false;
        for (std::size_t n = choices_.below(7); n > 0; --n) {
            const int code = typeCode();
            refused = refused || (code > 6 && types.size() < used);
            types.push_back(static_cast<rapidjson::Type>(code));
        }
        expectRefusal(refused, [&] { reader_.setValueTypes(types); });
        if (refused) {
            return;
        }
        while (at.IsArray() && at.Size() < types.size()) {
            at.PushBack(Value(), model_.pool());
        }
        plainSetTypes(model_.level(), codesOf(types));
    }

    void setNumberTypes() {
        std::vector<LevelReader::NumberType> types;
        std::vector<Value> values;
        for (std::size_t n = choices_.below(7); n > 0; --n) {
            const std::uint8_t code = choices_.below(8) == 7
                                          ? choices_.byte()
                                          : static_cast<std::uint8_t>(choices_.below(3));
            types.push_back(static_cast<LevelReader::NumberType>(code));
            values.push_back(code == 1   ? Value(std::numeric_limits<std::uint64_t>::max())
                             : code == 2 ? Value(-std::numeric_limits<std::int64_t>::max())
                                         : Value(0.0));
        }
        reader_.setNumberTypes(types);
        model_.replace(values, isNumber);
    }

    /// Sets random values of one kind in both.
    template <class T, class Make, class Matches>
    void set(void (LevelReader::*operation)(const std::vector<T>&), const Make& make,
             const Matches& matches) {
        std::vector<T> values;
        std::vector<Value> plain;
        for (std::size_t n = choices_.below(6); n > 0; --n) {
            plain.push_back(make(values));
        }
        (reader_.*operation)(values);
        model_.replace(plain, matches);
    }

    template <class T>
    void setNumbers(void (LevelReader::*operation)(const std::vector<T>&), T (Choices::*draw)(),
                    std::uint8_t wanted) {
        set(
            operation,
            [&](std::vector<T>& values) { return Value(values.emplace_back((choices_.*draw)())); },
            [&](Value& entry) { return plainGetData({&entry}).numberTypes == Codes{wanted}; });
    }

    void setDoubles() { setNumbers(&LevelReader::setDoubles, &Choices::real, 0); }
    void setUint64s() { setNumbers(&LevelReader::setUint64s, &Choices::natural, 1); }
    void setInt64s() { setNumbers(&LevelReader::setInt64s, &Choices::whole, 2); }

    void setStrings() {
        set(
            &LevelReader::setStrings,
            [&](std::vector<std::u16string>& values) {
                const std::string text = choices_.shortText();
                values.push_back(u16(text));
                return Value(text.data(), text.size(), model_.pool());
            },
            [](const Value& entry) { return entry.IsString(); });
    }

    // --- Comparing ------------------------------------------------------------------------------

    void compareTexts() {
        WriteOptions options;
        options.allowNaNInf = true;
        check(u8(reader_.writeString(options)) == textOf(model_.current()), "text");
        check(reader_.getCurrentType() == model_.current().GetType(), "getCurrentType");
    }

    void compareLists() {
        const Record record = plainGetData(model_.level());
        check(codesOf(reader_.listValueTypes()) == record.types, "listValueTypes");
        check(codesOf(reader_.listNumberTypes()) == record.numberTypes, "listNumberTypes");
        const std::vector<std::u16string> strings = reader_.listStrings();
        check(Texts(strings.begin(), strings.end()) == record.strings, "listStrings");
        check(sameBits(reader_.listDoubles(), record.doubles), "listDoubles");
        check(reader_.listUint64s() == record.uint64s, "listUint64s");
        check(reader_.listInt64s() == record.int64s, "listInt64s");
        std::vector<std::u16string> keys;
        if (model_.current().IsObject()) {
            for (const auto& member : childrenOf(model_.current())) {
                keys.push_back(u16(member.first));
            }
        }
        check(reader_.listKeyNames() == keys, "listKeyNames");
    }

    Choices& choices_;
    LevelReader reader_;
    ModelCursor model_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::runSession<Session>(data, size);
}
