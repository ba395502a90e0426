#pragma once

#include <FoundationPackage/ExceptionHandler.h>

#include <string>
#include <vector>

// Records every report it receives.
class RecordingHandler : public Orvan::FoundationPackage::ExceptionHandler {
public:
    bool handle(const Orvan::FoundationPackage::Exception& exception) override {
        messages.push_back(exception.what());
        return false;
    }
    void notify() override {}

    std::vector<std::string> messages;
};

// Installs a handler for one test and puts the previous one back afterwards, so tests stay independent.
class HandlerGuard {
public:
    explicit HandlerGuard(const boost::shared_ptr<Orvan::FoundationPackage::ExceptionHandler>& handler)
        : previous(Orvan::FoundationPackage::ExceptionHandler::setHandler(handler)) {}
    ~HandlerGuard() { Orvan::FoundationPackage::ExceptionHandler::setHandler(previous); }
    HandlerGuard(const HandlerGuard&) = delete;
    HandlerGuard& operator=(const HandlerGuard&) = delete;

private:
    boost::shared_ptr<Orvan::FoundationPackage::ExceptionHandler> previous;
};
