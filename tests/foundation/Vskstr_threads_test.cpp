// Vskstr_threads_test.cpp - strings made and dropped on many threads at once:
// each thread uses only its own string objects, but every default string of
// every thread shares the one empty buffer of its character type.
#include "foundation/Vskstr.h"
#include "foundation/Vskstrw.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdio>
#include <cwchar>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using vskstr::CVskStr;
using vskstr::CVskStrW;

constexpr int kThreads = 8;
// Each round makes ten string operations, so each thread makes 1,000,000.
constexpr int kRounds = 100000;
constexpr int kOperationsPerRound = 10;

// The first wrong result any thread saw, and how many there were.
class CFailures {
public:
    void Note(int thread, int round, const char* what) {
        if (m_count.fetch_add(1) == 0) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_first = "thread " + std::to_string(thread) + ", round " + std::to_string(round) + ": " + what;
        }
    }
    int Count() const { return m_count.load(); }
    std::string First() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_first;
    }

private:
    std::atomic<int> m_count{0};
    std::mutex m_mutex;
    std::string m_first;
};

bool IsEmpty(const CVskStr& s) { return s.Length() == 0 && s.c_str()[0] == '\0'; }
bool IsEmpty(const CVskStrW& s) { return s.Length() == 0 && s.c_str()[0] == L'\0'; }

// One round of the narrow operations: a default string, the number
// constructor, operator+ and Format, and a writer on a copy of an empty
// string (which must make a buffer of its own).
void NarrowRound(int thread, int round, CFailures& failures) {
    char expected[64];
    CVskStr empty;
    if (!IsEmpty(empty))
        failures.Note(thread, round, "a default narrow string is not empty");

    CVskStr number(static_cast<long>(round));
    std::snprintf(expected, sizeof expected, "%d", round);
    if (number != expected)
        failures.Note(thread, round, "the number constructor");

    CVskStr sum = empty + number;
    if (sum != expected)
        failures.Note(thread, round, "empty + number");

    CVskStr formatted;
    formatted.Format("%d-%s", round, "x");
    std::snprintf(expected, sizeof expected, "%d-x", round);
    if (formatted != expected)
        failures.Note(thread, round, "Format");

    CVskStr written(empty);
    written += "z";
    if (written != "z" || !IsEmpty(empty))
        failures.Note(thread, round, "a writer on a copy of the empty string");
}

// One round of the wide operations: a default string, both conversions,
// Format and an assignment over an empty string.
void WideRound(int thread, int round, CFailures& failures) {
    CVskStrW empty;
    if (!IsEmpty(empty))
        failures.Note(thread, round, "a default wide string is not empty");

    CVskStrW converted(CVskStr("abc"));
    if (std::wcscmp(converted.c_str(), L"abc") != 0 || converted.Length() != 3)
        failures.Note(thread, round, "narrow to wide");

    CVskStr back(converted);
    if (back != "abc")
        failures.Note(thread, round, "wide to narrow");

    CVskStrW formatted;
    formatted.Format(L"%d", round);
    if (formatted.c_str() != std::to_wstring(round))
        failures.Note(thread, round, "wide Format");

    CVskStrW assigned(empty);
    assigned = converted;
    if (std::wcscmp(assigned.c_str(), L"abc") != 0 || !IsEmpty(empty))
        failures.Note(thread, round, "an assignment over a copy of the empty wide string");
}

TEST(CVskStrThreads, EightThreadsMakingTheirOwnStringsLeaveTheSharedEmptyBuffersEmptyAndAlive) {
    const char* narrowEmpty = CVskStr().c_str();
    const wchar_t* wideEmpty = CVskStrW().c_str();
    CFailures failures;
    std::atomic<long long> operations{0};

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures, &operations] {
            for (int round = 0; round < kRounds; ++round) {
                NarrowRound(t, round, failures);
                WideRound(t, round, failures);
            }
            operations += static_cast<long long>(kRounds) * kOperationsPerRound;
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(0, failures.Count()) << "first wrong result: " << failures.First();
    EXPECT_EQ(static_cast<long long>(kThreads) * kRounds * kOperationsPerRound, operations.load());
    EXPECT_NE(0, HeapValidate(GetProcessHeap(), 0, nullptr)) << "the process heap is damaged";

    CVskStr narrow;
    CVskStrW wide;
    EXPECT_EQ(narrowEmpty, narrow.c_str()) << "default strings still share the same empty buffer";
    EXPECT_EQ(wideEmpty, wide.c_str());
    EXPECT_TRUE(IsEmpty(narrow));
    EXPECT_TRUE(IsEmpty(wide));
    EXPECT_EQ(INT_MAX, narrow.GetRefCount()) << "the empty buffer still lasts for ever";
    EXPECT_EQ(INT_MAX, wide.GetRefCount());
}

TEST(CVskStrThreads, TwoThreadsDoingNothingButDefaultStringsNeverTouchTheEmptyBuffersCount) {
    const int before = CVskStr().GetRefCount();
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 2000000; ++i) {
                CVskStr a;
                CVskStrW w;
                CVskStr copy(a);
                copy = a;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(before, CVskStr().GetRefCount());
    EXPECT_EQ(INT_MAX, before);
}

} // namespace
