#pragma once

#include <FoundationPackage/ExceptionHandler.h>

#include <boost/exception/get_error_info.hpp>

#include <string>
#include <vector>

// Records the text and throw line of every report it receives.
struct RecordingHandler : Orvan::FoundationPackage::ExceptionHandler {
    bool handle(const Orvan::FoundationPackage::Exception& e) override {
        messages.push_back(e.what());
        const int* line = boost::get_error_info<boost::throw_line>(e);
        lines.push_back(line != nullptr ? *line : -1);
        return false;
    }
    void notify() override {}
    std::vector<std::string> messages;
    std::vector<int> lines;
};

// Installs a handler for one test and restores the previous one, so that tests stay independent.
struct HandlerGuard {
    explicit HandlerGuard(const boost::shared_ptr<Orvan::FoundationPackage::ExceptionHandler>& handler)
        : previous(Orvan::FoundationPackage::ExceptionHandler::setHandler(handler)) {}
    ~HandlerGuard() { Orvan::FoundationPackage::ExceptionHandler::setHandler(previous); }
    boost::shared_ptr<Orvan::FoundationPackage::ExceptionHandler> previous;
};
