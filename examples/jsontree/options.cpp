#include "options.hpp"

#include <charconv>
#include <cmath>
#include <stdexcept>

namespace example {

Options::Options(Arguments arguments, const std::map<std::string, Takes>& known) {
    bool onlyOperands = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (onlyOperands || !argument.starts_with("--")) {
            operands_.push_back(argument);
            continue;
        }
        if (argument == "--") {
            onlyOperands = true;
            continue;
        }
        const std::size_t equals = argument.find('=');
        const std::string name = argument.substr(2, equals - 2);
        const auto option = known.find(name);
        if (option == known.end()) {
            throw std::runtime_error("unknown option '--" + name + "'; see --help");
        }
        if (option->second == Takes::Nothing) {
            if (equals != std::string::npos) {
                throw std::runtime_error("option '--" + name + "' takes no value");
            }
            given_[name].emplace_back();
        } else if (equals != std::string::npos) {
            given_[name].push_back(argument.substr(equals + 1));
        } else if (i + 1 < arguments.size()) {
            given_[name].push_back(arguments[++i]);
        } else {
            throw std::runtime_error("option '--" + name + "' lacks its value");
        }
    }
}

bool Options::has(const std::string& name) const {
    return given_.contains(name);
}

std::optional<std::string> Options::value(const std::string& name) const {
    const auto found = given_.find(name);
    return found == given_.end() ? std::nullopt : std::optional(found->second.back());
}

std::vector<std::string> Options::values(const std::string& name) const {
    const auto found = given_.find(name);
    return found == given_.end() ? std::vector<std::string>() : found->second;
}

const std::string& Options::file() const {
    if (operands_.empty()) {
        throw std::runtime_error("which FILE? See --help");
    }
    if (operands_.size() > 1) {
        throw std::runtime_error("one FILE at a time: what is '" + operands_[1] + "'?");
    }
    return operands_.front();
}

std::map<std::string, Takes> documentOptions() {
    return {{"output", Takes::Value},      {"pretty", Takes::Nothing},
            {"compact", Takes::Nothing},   {"allow-comments", Takes::Nothing},
            {"allow-nan", Takes::Nothing}, {"allow-trailing-commas", Takes::Nothing}};
}

ostra::io::json::core::ReadJSONDocumentOptions readOptions(const Options& options) {
    return {.allowComments = options.has("allow-comments"),
            .allowTrailingCommas = options.has("allow-trailing-commas"),
            .allowNaNInf = options.has("allow-nan")};
}

ostra::io::json::write::struct_::WriteStructOptions writeOptions(const Options& options) {
    if (options.has("pretty") && options.has("compact")) {
        throw std::runtime_error("either --pretty or --compact");
    }
    return {.allowNaNInf = options.has("allow-nan"),
            .prettyPrint = options.has("pretty"),
            .indentText = u"  "};
}

std::size_t wholeNumber(const std::string& what, const std::string& text, std::size_t limit) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number > limit) {
        throw std::runtime_error(what + " takes a whole number up to " + std::to_string(limit) +
                                 ", not '" + text + "'");
    }
    return number;
}

double finiteNumber(const std::string& what, const std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) {
        throw std::runtime_error(what + " takes a number, not '" + text + "'");
    }
    return number;
}

} // namespace example
