#include "options.hpp"

#include "arguments.hpp"
#include "errors.hpp"

namespace ostrajson {

ostra::io::json::core::ReadJSONDocumentOptions
readOptions(nb::handle comments, nb::handle trailingCommas, nb::handle allowNaN) {
    return {.allowComments = flagArgument(comments, "comments"),
            .allowTrailingCommas = flagArgument(trailingCommas, "trailing_commas"),
            .allowNaNInf = flagArgument(allowNaN, "allow_nan")};
}

TextOptions textOptions(nb::handle lines,
                        const ostra::io::json::core::ReadJSONDocumentOptions& read,
                        nb::handle bigInt) {
    using ostra::io::json::core::BigIntegers;
    const std::string_view choice = textArgument(bigInt, "big_int");
    if (choice != "float" && choice != "error") {
        raiseValue("big_int", "expected \"float\" or \"error\"");
    }
    return {read, choice == "float" ? BigIntegers::AsDouble : BigIntegers::Refuse,
            flagArgument(lines, "lines")};
}

ostra::io::json::write::struct_::WriteStructOptions writeOptions(nb::handle indent,
                                                                 nb::handle allowNaN) {
    ostra::io::json::write::struct_::WriteStructOptions options;
    options.allowNaNInf = flagArgument(allowNaN, "allow_nan");
    options.prettyPrint = !indent.is_none();
    if (PyUnicode_Check(indent.ptr())) {
        options.indentText = toUtf16(indent, "indent");
        const bool same = options.indentText.find_first_not_of(options.indentText.substr(0, 1)) ==
                          std::u16string::npos;
        if (!same || options.indentText.find_first_not_of(u" \t") != std::u16string::npos) {
            raiseValue("indent", "expected spaces or tabs, all the same");
        }
    } else if (options.prettyPrint) {
        options.indentText.assign(countArgument(indent, "indent"), u' ');
    }
    return options;
}

} // namespace ostrajson
