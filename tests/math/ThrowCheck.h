#pragma once

#include <stdexcept>
#include <string>

// Runs `action` and describes what it threw, so that one assertion covers both the exception type and the
// message. A std::invalid_argument whose text is "<message> (file: <...>/<sourceName>, line: <n>)" yields
// just <message>; anything else yields a description that will not equal any expected message.
template <typename Action>
std::string invalidArgumentMessage(Action action, const std::string& sourceName) {
    try {
        action();
    } catch (const std::invalid_argument& e) {
        const std::string text = e.what();
        const std::string marker = " (file: ";
        const std::size_t at = text.rfind(marker);
        if (at == std::string::npos) return "<no location in: " + text + ">";
        const std::string location = text.substr(at + marker.size());
        const std::string fileEnd = sourceName + ", line: ";
        const std::size_t lineAt = location.find(fileEnd);
        if (lineAt == std::string::npos || location.back() != ')') return "<wrong location in: " + text + ">";
        const std::string digits =
            location.substr(lineAt + fileEnd.size(), location.size() - lineAt - fileEnd.size() - 1);
        if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos)
            return "<bad line in: " + text + ">";
        return text.substr(0, at);
    } catch (const std::exception& e) {
        return std::string("<other exception: ") + e.what() + ">";
    }
    return "<nothing thrown>";
}
