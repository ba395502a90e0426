#pragma once

#include <FoundationPackage/ExceptionHandler.h>

#include <boost/exception/get_error_info.hpp>
#include <boost/make_shared.hpp>

#include <string>
#include <utility>
#include <vector>

// Records the text and throw line of every report it receives.
struct RecordingHandler : Orvan::FoundationPackage::ExceptionHandler {
    bool handle(const Orvan::FoundationPackage::Exception& e) override {
        const int* line = boost::get_error_info<boost::throw_line>(e);
        reports.emplace_back(e.what(), line != nullptr ? *line : -1);
        return false;
    }
    void notify() override {}
    std::vector<std::pair<std::string, int>> reports;
};

// Installs a fresh recorder for one test and restores the previous handler, so that tests stay independent.
struct HandlerGuard {
    boost::shared_ptr<RecordingHandler> recorder = boost::make_shared<RecordingHandler>();
    boost::shared_ptr<Orvan::FoundationPackage::ExceptionHandler> previous =
        Orvan::FoundationPackage::ExceptionHandler::setHandler(recorder);
    ~HandlerGuard() { Orvan::FoundationPackage::ExceptionHandler::setHandler(previous); }
};
