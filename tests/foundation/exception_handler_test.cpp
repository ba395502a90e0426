#include "foundation/HandlerGuard.h"

#include <FoundationPackage/FailureReport.h>

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>

using namespace Orvan::FoundationPackage;

namespace {

// Recoverable and an Error at once: the one kind of report the default handler classifies as an Error.
struct FatalReport : Exception, Error {
    FatalReport() : ExceptionBase("f", {"f.cpp", 1}), Exception("f", {"f.cpp", 1}), Error("f", {"f.cpp", 1}) {}
};

// The E that `action` throws; empty when it throws nothing.
template <typename E = std::invalid_argument, typename Action>
std::optional<E> caught(Action action) {
    try {
        action();
    } catch (const E& e) {
        return e;
    }
    return std::nullopt;
}

std::string location(int line) { return std::string("(file: ") + __FILE__ + ", line: " + std::to_string(line) + ")"; }

}  // namespace

TEST(ExceptionTree, BranchesCarryMessageAndTraceAndNullTextsAreRejected) {
    static_assert(std::is_base_of<LogicException, NullPointerException>() &&
                      std::is_base_of<boost::exception, ExceptionBase>() &&
                      !std::is_base_of<Exception, UnknownError>() && std::is_base_of<std::bad_alloc, OutOfMemory>(),
                  "the two branches of the exception tree");
    const ExceptionBase copy = LogicException("index out of range", TracePoint("Thing::at", "thing.cpp", 42));
    EXPECT_EQ(copy.getMessage(), "index out of range");
    ASSERT_EQ(copy.getTrace().getPoints().size(), 1u);
    EXPECT_EQ(copy.getTrace().getPoints()[0].getLine(), 42);

    for (const auto& e : {caught<NullPointerException>([] { TracePoint(nullptr, "f.cpp", 1); }),
                          caught<NullPointerException>([] { TracePoint(nullptr, 1); })})
        EXPECT_STREQ(e.value().getTrace().getPoints().at(0).getFunction(), "TracePoint::TracePoint");
}

TEST(ExceptionHandlerInstallation, DefaultSetAndNullRejected) {
    const boost::shared_ptr<ExceptionHandler> original = ExceptionHandler::getHandler();
    ASSERT_TRUE(dynamic_cast<Private::DefaultExceptionHandler*>(original.get()));
    EXPECT_FALSE(original->handle(LogicException("l", TracePoint("f.cpp", 1))));
    EXPECT_TRUE(original->handle(FatalReport()));

    HandlerGuard guard;
    EXPECT_EQ(guard.previous, original);
    const auto rejected = caught<NullPointerException>([] { ExceptionHandler::setHandler(nullptr); });
    const TracePoint where = rejected.value().getTrace().getPoints().at(0);
    EXPECT_EQ(std::string(where.getFunction()) + " in " + where.getFile(), "setHandler in ExceptionHandler");
    EXPECT_EQ(ExceptionHandler::getHandler(), guard.recorder);
}

TEST(FailureReport, ReachesTheHandlerWithTextAndLineEvenWhileHandlersAreSwapped) {
    HandlerGuard guard;
    // Unbraced if/else around the macro: it must act as exactly one statement and evaluate its condition once.
    int evaluations = 0;
    if (evaluations == 0)
        REQUIRE(++evaluations == 1);
    else
        ++evaluations;
    EXPECT_EQ(evaluations, 1);
    const int line = __LINE__ + 1;
    const std::string required = caught([&] { REQUIRE(evaluations == 5); }).value().what();
    const std::string invalid = caught([] { VELIN_INVALID_ARGUMENT("Thing::do(): bad."); }).value().what();
    EXPECT_EQ(required, "REQUIRE(evaluations == 5) failed. " + location(line));
    EXPECT_EQ(invalid, "Thing::do(): bad. " + location(line + 1));
    EXPECT_EQ(guard.recorder->reports,
              (std::vector<std::pair<std::string, int>>{{required, line}, {invalid, line + 1}}));

    // Reporters copy the handle, so replacing handlers meanwhile must not free one still in use (shows under
    // AddressSanitizer) nor lose the report that follows.
    std::atomic<bool> done{false};
    std::thread swapper([&] {
        while (!done) ExceptionHandler::setHandler(boost::make_shared<Private::DefaultExceptionHandler>());
        ExceptionHandler::setHandler(guard.recorder);
    });
    for (int i = 0; i < 2000; ++i) reportFailure("x", "f.cpp", 1);
    done = true;
    swapper.join();
    reportFailure("y", "f.cpp", 1);
    EXPECT_EQ(guard.recorder->reports.back().first, "y");
}
