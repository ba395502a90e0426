#include <FoundationPackage/Exceptions.h>
#include <FoundationPackage/FailureReport.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace Orvan::FoundationPackage;

TEST(ExceptionTree, EachClassIsCaughtByItsBasesAndNotByTheOtherBranch) {
    const TracePoint here("test", "exceptions_test.cpp", 10);

    EXPECT_THROW(throw NullPointerException("n", here), LogicException);
    EXPECT_THROW(throw NullPointerException("n", here), Exception);
    EXPECT_THROW(throw NullPointerException("n", here), boost::exception);
    EXPECT_THROW(throw LogicException("l", here), std::exception);
    EXPECT_THROW(throw UnknownError("u", here), Error);
    EXPECT_THROW(throw UnknownError("u", here), ExceptionBase);
    EXPECT_THROW(throw OutOfMemory(), std::bad_alloc);

    try {
        throw UnknownError("u", here);
    } catch (const Exception&) {
        FAIL() << "an Error was caught as a recoverable Exception";
    } catch (const Error&) {
    }
}

TEST(ExceptionTree, MessageAndTraceSurviveCopyAndRethrowAsBase) {
    try {
        try {
            throw LogicException("index out of range", TracePoint("Thing::at", "thing.cpp", 42));
        } catch (const ExceptionBase& e) {
            throw;
        }
    } catch (const ExceptionBase& e) {
        const ExceptionBase copy(e);
        EXPECT_STREQ(copy.what(), "index out of range");
        EXPECT_EQ(copy.getMessage(), "index out of range");
        const Trace trace = copy.getTrace();
        ASSERT_EQ(trace.getPoints().size(), 1u);
        EXPECT_STREQ(trace.getPoints()[0].getFunction(), "Thing::at");
        EXPECT_STREQ(trace.getPoints()[0].getFile(), "thing.cpp");
        EXPECT_EQ(trace.getPoints()[0].getLine(), 42);
    }
}

TEST(TracePointChecks, NullTextsAreRejectedNamingTheConstructor) {
    const char* const nullText = nullptr;
    for (int which = 0; which < 3; ++which) {
        try {
            if (which == 0) TracePoint(nullText, "file.cpp", 1);
            if (which == 1) TracePoint("function", nullText, 1);
            if (which == 2) TracePoint(nullText, 1);
            FAIL() << "null text accepted in case " << which;
        } catch (const NullPointerException& e) {
            const Trace trace = e.getTrace();
            ASSERT_FALSE(trace.isEmpty());
            EXPECT_STREQ(trace.getPoints()[0].getFunction(), "TracePoint::TracePoint") << "case " << which;
        }
    }
    const TracePoint unnamed("file.cpp", 3);
    EXPECT_STREQ(unnamed.getFunction(), "");
}

TEST(LocationFormat, MessageAndRequireForms) {
    EXPECT_EQ(formatLocation("", "Matrix::getRow(): invalid row.", " ", "m.cpp", 12),
              "Matrix::getRow(): invalid row. (file: m.cpp, line: 12)");
    EXPECT_EQ(formatLocation("REQUIRE(", "a < b", ") failed. ", "x/y.cpp", -3),
              "REQUIRE(a < b) failed. (file: x/y.cpp, line: -3)");
}

TEST(RequireCheck, FailingConditionThrowsWithItsTextAndPassingOneDoesNothing) {
    int evaluations = 0;
    auto check = [&](int value) {
        // Unbraced if/else around the macro: it must behave as exactly one statement.
        if (value > 0)
            REQUIRE(++evaluations && value > 1);
        else
            ++evaluations;
    };
    EXPECT_NO_THROW(check(2));
    EXPECT_NO_THROW(check(0));
    EXPECT_EQ(evaluations, 2);

    const int line = __LINE__ + 2;
    try {
        REQUIRE(evaluations == 5);
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& e) {
        EXPECT_EQ(std::string(e.what()), std::string("REQUIRE(evaluations == 5) failed. (file: ") + __FILE__ +
                                             ", line: " + std::to_string(line) + ")");
    }
}
