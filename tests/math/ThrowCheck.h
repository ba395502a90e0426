#pragma once

#include <stdexcept>
#include <string>

// What `action` threw, for checking type and message in one assertion: for a std::invalid_argument whose
// text ends in " (file: <path>/<sourceName>, line: <n>)" the text before that; otherwise a description that
// equals no expected message.
template <typename Action>
std::string failureMessage(Action action, const std::string& sourceName) {
    try {
        action();
    } catch (const std::invalid_argument& e) {
        const std::string text = e.what();
        const std::size_t at = text.rfind(" (file: ");
        const std::size_t line = text.rfind(sourceName + ", line: ");
        const bool located = at != std::string::npos && line != std::string::npos && line > at && text.back() == ')' &&
                             text.find_first_not_of("0123456789", line + sourceName.size() + 8) == text.size() - 1;
        return located ? text.substr(0, at) : "<badly located: " + text + ">";
    } catch (...) {
        return "<other exception>";
    }
    return "<nothing thrown>";
}
