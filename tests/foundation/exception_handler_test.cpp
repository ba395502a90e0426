#include "foundation/HandlerGuard.h"

#include <FoundationPackage/FailureReport.h>

#include <gtest/gtest.h>
#include <boost/make_shared.hpp>

#include <atomic>
#include <stdexcept>
#include <thread>

using namespace Orvan::FoundationPackage;

namespace {

// Recoverable and an Error at once: the one kind of report the default handler classifies as an Error.
struct FatalReport : Exception, Error {
    FatalReport()
        : ExceptionBase("f", TracePoint("f.cpp", 1)),
          Exception("f", TracePoint("f.cpp", 1)),
          Error("f", TracePoint("f.cpp", 1)) {}
};

std::string location(int line) { return std::string("(file: ") + __FILE__ + ", line: " + std::to_string(line) + ")"; }

}  // namespace

TEST(ExceptionTree, BranchesCatchAndCarryMessageAndTrace) {
    const TracePoint here("Thing::at", "thing.cpp", 42);
    EXPECT_THROW(throw NullPointerException("n", here), LogicException);
    EXPECT_THROW(throw NullPointerException("n", here), boost::exception);
    EXPECT_THROW(throw UnknownError("u", here), ExceptionBase);
    EXPECT_THROW(throw OutOfMemory(), std::bad_alloc);
    const UnknownError unknown("u", here);
    EXPECT_EQ(dynamic_cast<const Exception*>(&static_cast<const ExceptionBase&>(unknown)), nullptr);

    const ExceptionBase copy = LogicException("index out of range", here);
    EXPECT_STREQ(copy.what(), "index out of range");
    EXPECT_EQ(copy.getMessage(), "index out of range");
    ASSERT_EQ(copy.getTrace().getPoints().size(), 1u);
    EXPECT_EQ(copy.getTrace().getPoints()[0].getLine(), 42);
}

TEST(ExceptionTree, NullTracePointTextsAreRejectedNamingTheConstructor) {
    const char* const none = nullptr;
    for (int which = 0; which < 2; ++which) {
        try {
            which == 0 ? TracePoint(none, "file.cpp", 1) : TracePoint(none, 1);
            FAIL() << "null text accepted in case " << which;
        } catch (const NullPointerException& e) {
            EXPECT_STREQ(e.getTrace().getPoints().at(0).getFunction(), "TracePoint::TracePoint");
        }
    }
}

TEST(FailureText, LocationFormatAndRequireChecks) {
    EXPECT_EQ(formatLocation("", "Matrix::getRow(): invalid row.", " ", "m.cpp", 12),
              "Matrix::getRow(): invalid row. (file: m.cpp, line: 12)");
    int evaluations = 0;
    // Unbraced if/else around the macro: it must act as exactly one statement and evaluate its condition once.
    for (int value : {2, 0}) {
        if (value > 0)
            REQUIRE(++evaluations > 0);
        else
            ++evaluations;
    }
    EXPECT_EQ(evaluations, 2);
    const int line = __LINE__ + 2;
    try {
        REQUIRE(evaluations == 5);
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& e) {
        EXPECT_EQ(std::string(e.what()), "REQUIRE(evaluations == 5) failed. " + location(line));
    }
}

TEST(ExceptionHandlerInstallation, DefaultSetAndNullRejected) {
    const boost::shared_ptr<ExceptionHandler> original = ExceptionHandler::getHandler();
    ASSERT_TRUE(dynamic_cast<Private::DefaultExceptionHandler*>(original.get()));
    EXPECT_FALSE(original->handle(LogicException("l", TracePoint("f.cpp", 1))));
    EXPECT_TRUE(original->handle(FatalReport()));

    const auto recorder = boost::make_shared<RecordingHandler>();
    EXPECT_EQ(ExceptionHandler::setHandler(recorder), original);
    EXPECT_THROW(ExceptionHandler::setHandler(nullptr), NullPointerException);
    EXPECT_EQ(ExceptionHandler::getHandler(), recorder);
    EXPECT_EQ(ExceptionHandler::setHandler(original), recorder);
}

TEST(ExceptionHandlerInstallation, FailureIsReportedBeforeItIsThrown) {
    const auto recorder = boost::make_shared<RecordingHandler>();
    HandlerGuard guard(recorder);
    const int line = __LINE__ + 2;
    try {
        VELIN_INVALID_ARGUMENT("Thing::do(): bad thing.");
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& e) {
        const std::string expected = "Thing::do(): bad thing. " + location(line);
        EXPECT_EQ(std::string(e.what()), expected);
        EXPECT_EQ(recorder->messages, std::vector<std::string>{expected});
        EXPECT_EQ(recorder->lines, std::vector<int>{line});
    }
}

// Reporters copy the handle, so replacing handlers meanwhile must not free one still in use (shows under
// AddressSanitizer) nor lose the report that follows.
TEST(ExceptionHandlerInstallation, HandlerCanBeReplacedWhileAnotherThreadReports) {
    const auto last = boost::make_shared<RecordingHandler>();
    HandlerGuard guard(last);
    std::atomic<bool> done{false};
    std::thread swapper([&] {
        while (!done) ExceptionHandler::setHandler(boost::make_shared<Private::DefaultExceptionHandler>());
        ExceptionHandler::setHandler(last);
    });
    for (int i = 0; i < 2000; ++i) reportFailure("x", "f.cpp", 1);
    done = true;
    swapper.join();
    reportFailure("y", "f.cpp", 1);
    EXPECT_EQ(last->messages.back(), "y");
}
