#pragma once

#include <regex>
#include <stdexcept>
#include <string>

// What `action` threw as std::invalid_argument, for checking type and message in one assertion: when the
// text ends in " (file: <path>/<sourceName>, line: <n>)" the text before that; otherwise a description that
// equals no expected message.
template <typename Action>
std::string failureMessage(Action action, const std::string& sourceName) {
    try {
        action();
    } catch (const std::invalid_argument& e) {
        const std::string text = e.what();
        std::smatch parts;
        const std::regex located("(.*) \\(file: .*" + sourceName + ", line: [0-9]+\\)");
        return std::regex_match(text, parts, located) ? parts[1].str() : "<badly located: " + text + ">";
    }
    return "<nothing thrown>";
}
