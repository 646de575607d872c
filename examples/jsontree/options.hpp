#pragma once

/// Command-line arguments, in the few forms that the subcommands use.

#include "commands.hpp"

#include <ostra/io/json/tree/dom.hpp>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace example {

/// Whether an option stands alone or is followed by its value.
enum class Takes { Nothing, Value };

/// The options and operands of a subcommand.
class Options {
public:
    /// @param arguments  what the user typed: `--name`, `--name VALUE` or `--name=VALUE`, and
    ///                   operands. After `--` everything is an operand.
    /// @param known      the options of the subcommand, without dashes.
    /// @throws std::runtime_error  for an option that is not known or lacks its value.
    Options(Arguments arguments, const std::map<std::string, Takes>& known);

    bool has(const std::string& name) const;

    /// @return the value given last; empty if the option was not given.
    std::optional<std::string> value(const std::string& name) const;

    /// @return all values, in the order given.
    std::vector<std::string> values(const std::string& name) const;

    /// @throws std::runtime_error  if there is not exactly one operand.
    const std::string& file() const;

private:
    std::map<std::string, std::vector<std::string>> given_;
    std::vector<std::string> operands_;
};

/// The options about reading and writing documents that all subcommands share.
std::map<std::string, Takes> documentOptions();

ostra::io::json::core::ReadJSONDocumentOptions readOptions(const Options& options);
ostra::io::json::write::struct_::WriteStructOptions writeOptions(const Options& options);

/// @return the whole number that `text` is.
/// @throws std::runtime_error  if it is not one, or above `limit`; the message begins with `what`.
std::size_t wholeNumber(const std::string& what, const std::string& text, std::size_t limit);

/// @return the finite number that `text` is; failures as `wholeNumber`.
double finiteNumber(const std::string& what, const std::string& text);

} // namespace example
