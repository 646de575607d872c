#ifndef TVIOJSONTREE_PLATFORM_EXCEPTIONS_HPP
#define TVIOJSONTREE_PLATFORM_EXCEPTIONS_HPP

/// What the host's foundation library (libtvfl) gives us: exceptions that carry a message
/// identifier and arguments, which the host turns into localized text.

#include <boost/exception/exception.hpp>

#include <exception>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace foundation::core::except {

/// One fill-in argument of a message.
using MessageArgument = std::variant<long, std::string, std::u16string>;

/// What every message class is: fill-in arguments, catalogue and key.
struct BaseMsgID {
    std::vector<MessageArgument> arguments;
    std::string catalog;
    std::string key;

    BaseMsgID(std::vector<MessageArgument> itsArguments, std::string itsCatalog, std::string itsKey)
        : arguments(std::move(itsArguments)), catalog(std::move(itsCatalog)),
          key(std::move(itsKey)) {}

    /// Builds every argument again: libstdc++ 12's variant runs into undefined behaviour when
    /// memory is exhausted while a variant is copied, since it takes one that holds a string for
    /// never valueless and destroys what was not built.
    BaseMsgID(const BaseMsgID& other) : catalog(other.catalog), key(other.key) {
        arguments.reserve(other.arguments.size());
        for (const MessageArgument& argument : other.arguments) {
            std::visit([this](const auto& value) { arguments.emplace_back(value); }, argument);
        }
    }
    BaseMsgID(BaseMsgID&&) noexcept = default;
    // NOLINTNEXTLINE(performance-unnecessary-value-param): a copy to swap with
    BaseMsgID& operator=(BaseMsgID other) noexcept {
        arguments.swap(other.arguments);
        catalog.swap(other.catalog);
        key.swap(other.key);
        return *this;
    }
    ~BaseMsgID() = default;
};

/// The exception interface that hosts catch by.
class __attribute__((visibility("default"))) IMsgIDException {
public:
    virtual ~IMsgIDException();

    /// @return a copy of the identifier, by which callers match errors.
    virtual std::string GetID() const = 0;

    /// @return the embedded message object; lives as long as the exception.
    virtual const BaseMsgID& GetBaseMsgIDObj() const = 0;

    /// Forms the identifier of a message: its catalogue, a colon, its key.
    static std::string get_error_id(const BaseMsgID& message);

protected:
    /// Forms the readable text behind `what()`: the identifier, then the arguments.
    static std::string get_error_text(const BaseMsgID& message);
};

/// An exception that carries the message `M` and is a `Base`; also a `boost::exception`, so that
/// handlers may attach further information to it. The third parameter is the host's, unused here.
template <class M, class Base, class Unused>
class __attribute__((visibility("default"))) Exception : public IMsgIDException,
                                                         public Base,
                                                         public boost::exception {
public:
    explicit Exception(const M& message)
        : message_(message), id_(get_error_id(message_)), text_(get_error_text(message_)) {}
    ~Exception() noexcept override = default;
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;

    /// @return readable text; lives as long as the exception.
    const char* what() const noexcept override { return text_.c_str(); }
    std::string GetID() const override { return id_; }
    const BaseMsgID& GetBaseMsgIDObj() const override { return message_; }

    /// @return a heap copy, owned by the caller.
    virtual Exception* clone() const { return new Exception(*this); }

    /// Throws a copy of this exception.
    [[noreturn]] virtual void rethrow() const { throw Exception(*this); }

private:
    M message_;
    std::string id_;
    std::string text_;
};

} // namespace foundation::core::except

#endif
