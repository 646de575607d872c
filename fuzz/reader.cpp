/// Any sequence of cursor operations: against a tree and a cursor done the slow way.

#include "oracle/model.hpp"
#include "oracle/search.hpp"
#include "support.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <bit>
#include <functional>
#include <limits>
#include <stdexcept>

namespace {

using namespace fuzz;
using tree::LevelReader;

bool isString(const Tree& entry) {
    return entry.type == rapidjson::kStringType;
}
bool isNumber(const Tree& entry) {
    return entry.type == rapidjson::kNumberType;
}

class Session {
public:
    Session(const std::string& text, Choices& choices)
        : choices_(choices), reader_(LevelReader::MakeStringReader(u16(text), {})),
          model_(toTree(core::parse_json_document(u"", toBytes(text), {}))) {}

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
            model_.current() = ofType(code);
        }
    }

    void setKeyNames() {
        std::vector<std::u16string> names;
        Tree object = ofType(rapidjson::kObjectType);
        for (std::size_t n = choices_.below(5); n > 0; --n) {
            const std::string name = choices_.shortText();
            names.push_back(u16(name));
            object.keys.push_back(name);
            object.children.emplace_back();
        }
        reader_.setKeyNames(names);
        model_.current() = object;
    }

    void setValueTypes() {
        std::vector<rapidjson::Type> types;
        std::vector<Tree> values;
        Tree& at = model_.current();
        const std::size_t used =
            at.type == rapidjson::kArrayType ? SIZE_MAX : model_.level().size();
        bool refused = false;
        for (std::size_t n = choices_.below(7); n > 0; --n) {
            const int code = typeCode();
            refused = refused || (code > 6 && types.size() < used);
            types.push_back(static_cast<rapidjson::Type>(code));
            values.push_back(ofType(code > 6 ? 0 : code));
        }
        expectRefusal(refused, [&] { reader_.setValueTypes(types); });
        if (refused) {
            return;
        }
        while (at.type == rapidjson::kArrayType && at.children.size() < types.size()) {
            at.children.emplace_back();
        }
        model_.replace(values, [](const Tree&) { return true; });
    }

    void setNumberTypes() {
        std::vector<LevelReader::NumberType> types;
        std::vector<Tree> values;
        for (std::size_t n = choices_.below(7); n > 0; --n) {
            const std::uint8_t code = choices_.below(8) == 7
                                          ? choices_.byte()
                                          : static_cast<std::uint8_t>(choices_.below(3));
            types.push_back(static_cast<LevelReader::NumberType>(code));
            values.push_back(code == 1   ? ofNumber(std::numeric_limits<std::uint64_t>::max())
                             : code == 2 ? ofNumber(-std::numeric_limits<std::int64_t>::max())
                                         : ofNumber(0.0));
        }
        reader_.setNumberTypes(types);
        model_.replace(values, isNumber);
    }

    /// Sets random values of one kind in both.
    template <class T, class Make, class Matches>
    void set(void (LevelReader::*operation)(const std::vector<T>&), const Make& make,
             const Matches& matches) {
        std::vector<T> values;
        std::vector<Tree> trees;
        for (std::size_t n = choices_.below(6); n > 0; --n) {
            trees.push_back(make(values));
        }
        (reader_.*operation)(values);
        model_.replace(trees, matches);
    }

    template <class T>
    void setNumbers(void (LevelReader::*operation)(const std::vector<T>&), T (Choices::*draw)(),
                    int wanted) {
        set(
            operation,
            [&](std::vector<T>& values) {
                values.push_back((choices_.*draw)());
                return ofNumber(values.back());
            },
            [&](const Tree& entry) { return isNumber(entry) && classOf(entry.number) == wanted; });
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
                return ofText(text);
            },
            isString);
    }

    // --- Comparing ------------------------------------------------------------------------------

    void compareTexts() {
        WriteOptions options;
        options.allowNaNInf = true;
        check(reader_.writeString(options) == textOf(model_.current(), options), "text");
        check(reader_.getCurrentType() == model_.current().type, "getCurrentType");
    }

    /// The numbers of one class, as bits.
    std::vector<std::uint64_t> numbers(int wanted) {
        std::vector<std::uint64_t> bits;
        for (const Tree* entry : model_.level()) {
            if (isNumber(*entry) && classOf(entry->number) == wanted) {
                bits.push_back(std::visit(
                    [&](auto number) {
                        return wanted == 0
                                   ? std::bit_cast<std::uint64_t>(static_cast<double>(number))
                                   : static_cast<std::uint64_t>(number);
                    },
                    entry->number));
            }
        }
        return bits;
    }

    template <class T>
    static std::vector<std::uint64_t> bitsOf(const std::vector<T>& values) {
        std::vector<std::uint64_t> bits;
        bits.reserve(values.size());
        for (const T value : values) {
            bits.push_back(std::bit_cast<std::uint64_t>(value));
        }
        return bits;
    }

    void compareLists() {
        std::vector<std::u16string> strings;
        std::vector<std::u16string> keys;
        std::vector<rapidjson::Type> types;
        std::vector<LevelReader::NumberType> numberTypes;
        for (const Tree* entry : model_.level()) {
            types.push_back(entry->type);
            if (isString(*entry)) {
                strings.push_back(u16(entry->text));
            } else if (isNumber(*entry)) {
                numberTypes.push_back(static_cast<LevelReader::NumberType>(classOf(entry->number)));
            }
        }
        for (const std::string& key : model_.current().keys) {
            keys.push_back(u16(key));
        }
        check(reader_.listValueTypes() == types, "listValueTypes");
        check(reader_.listNumberTypes() == numberTypes, "listNumberTypes");
        check(reader_.listStrings() == strings, "listStrings");
        check(reader_.listKeyNames() == keys, "listKeyNames");
        check(bitsOf(reader_.listDoubles()) == numbers(0), "listDoubles");
        check(bitsOf(reader_.listUint64s()) == numbers(1), "listUint64s");
        check(bitsOf(reader_.listInt64s()) == numbers(2), "listInt64s");
    }

    Choices& choices_;
    LevelReader reader_;
    ModelCursor model_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::runSession<Session>(data, size);
}
