#include "foundation/HandlerGuard.h"

#include <FoundationPackage/ExceptionHandler.h>
#include <FoundationPackage/FailureReport.h>

#include <boost/exception/get_error_info.hpp>
#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

using namespace Orvan::FoundationPackage;

namespace {

// Both recoverable and an Error: the one kind of report the default handler classifies as an Error.
class FatalReport : public Exception, public Error {
public:
    FatalReport()
        : ExceptionBase("fatal", TracePoint("f.cpp", 1)),
          Exception("fatal", TracePoint("f.cpp", 1)),
          Error("fatal", TracePoint("f.cpp", 1)) {}
};

class CountingHandler : public ExceptionHandler {
public:
    bool handle(const Exception&) override {
        ++count;
        return false;
    }
    void notify() override {}
    std::atomic<int> count{0};
};

}  // namespace

TEST(ExceptionHandlerInstallation, DefaultHandlerIsInstalledAndClassifiesOnlyErrors) {
    boost::shared_ptr<ExceptionHandler> installed = ExceptionHandler::getHandler();
    ASSERT_TRUE(installed);
    EXPECT_NE(dynamic_cast<Private::DefaultExceptionHandler*>(installed.get()), nullptr);

    Private::DefaultExceptionHandler handler;
    EXPECT_FALSE(handler.handle(Exception("plain", TracePoint("f.cpp", 1))));
    EXPECT_FALSE(handler.handle(LogicException("logic", TracePoint("f.cpp", 1))));
    EXPECT_TRUE(handler.handle(FatalReport()));
}

TEST(ExceptionHandlerInstallation, SetHandlerReturnsThePreviousOne) {
    const boost::shared_ptr<ExceptionHandler> original = ExceptionHandler::getHandler();
    const auto first = boost::make_shared<RecordingHandler>();
    const auto second = boost::make_shared<RecordingHandler>();

    EXPECT_EQ(ExceptionHandler::setHandler(first), original);
    EXPECT_EQ(ExceptionHandler::setHandler(second), first);
    EXPECT_EQ(ExceptionHandler::getHandler(), second);
    EXPECT_EQ(ExceptionHandler::setHandler(original), second);
}

TEST(ExceptionHandlerInstallation, NullHandlerIsRejectedAndTheOldOneStays) {
    const auto recorder = boost::make_shared<RecordingHandler>();
    HandlerGuard guard(recorder);

    try {
        ExceptionHandler::setHandler(boost::shared_ptr<ExceptionHandler>());
        FAIL() << "a null handler was accepted";
    } catch (const NullPointerException& e) {
        const Trace trace = e.getTrace();
        ASSERT_EQ(trace.getPoints().size(), 1u);
        EXPECT_STREQ(trace.getPoints()[0].getFunction(), "ExceptionHandler::setHandler");
    }
    EXPECT_EQ(ExceptionHandler::getHandler(), recorder);
}

TEST(FailureReporting, ReportReachesTheInstalledHandlerWithItsThrowLocation) {
    class LocationHandler : public ExceptionHandler {
    public:
        bool handle(const Exception& e) override {
            message = e.what();
            const char* const* file = boost::get_error_info<boost::throw_file>(e);
            const int* line = boost::get_error_info<boost::throw_line>(e);
            throwFile = file != nullptr ? *file : "";
            throwLine = line != nullptr ? *line : -1;
            return false;
        }
        void notify() override {}
        std::string message;
        std::string throwFile;
        int throwLine = -1;
    };
    const auto handler = boost::make_shared<LocationHandler>();
    HandlerGuard guard(handler);

    reportFailure("something broke", "where.cpp", 77);
    EXPECT_EQ(handler->message, "something broke");
    EXPECT_EQ(handler->throwFile, "where.cpp");
    EXPECT_EQ(handler->throwLine, 77);
}

TEST(FailureReporting, InvalidArgumentIsReportedBeforeItIsThrown) {
    const auto recorder = boost::make_shared<RecordingHandler>();
    HandlerGuard guard(recorder);

    const int line = __LINE__ + 2;
    try {
        VELIN_INVALID_ARGUMENT("Thing::do(): bad thing.");
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& e) {
        const std::string expected =
            std::string("Thing::do(): bad thing. (file: ") + __FILE__ + ", line: " + std::to_string(line) + ")";
        EXPECT_EQ(std::string(e.what()), expected);
        ASSERT_EQ(recorder->messages.size(), 1u);
        EXPECT_EQ(recorder->messages[0], expected);
    }
}

// A reporter copies the handle, so swapping handlers under it must neither lose reports nor free a handler
// that is still in use (the latter shows under AddressSanitizer).
TEST(FailureReporting, HandlerCanBeReplacedWhileAnotherThreadReports) {
    const auto a = boost::make_shared<CountingHandler>();
    const auto b = boost::make_shared<CountingHandler>();
    HandlerGuard guard(a);
    const int reports = 2000;

    std::atomic<bool> done{false};
    std::thread swapper([&] {
        bool useA = false;
        while (!done) {
            if (useA) {
                ExceptionHandler::setHandler(a);
            } else {
                // A fresh handler each time, so that its last owner may well be the reporting thread.
                ExceptionHandler::setHandler(boost::make_shared<CountingHandler>());
            }
            useA = !useA;
        }
        ExceptionHandler::setHandler(b);
    });
    for (int i = 0; i < reports; ++i) reportFailure("x", "f.cpp", 1);
    done = true;
    swapper.join();

    reportFailure("x", "f.cpp", 1);
    EXPECT_EQ(b->count, 1);
    EXPECT_LE(a->count, reports);
}
