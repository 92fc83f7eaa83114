// Voskellib_test.cpp - the package frame: unit counters, unit order and the
// package description record read from the loaded DLL.
#include "foundation/Voskellib.h"

#include "platform/Win32.h"
#include "foundation/internal/VoskellibHooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<std::string> g_events;

void RecordEvent(const char* unit, bool starting) {
    g_events.push_back(std::string(starting ? "start " : "stop ") + unit);
}

class UnitObserverScope {
public:
    UnitObserverScope() : m_previous(vsk::package::SetUnitObserver(RecordEvent)) { g_events.clear(); }
    ~UnitObserverScope() { vsk::package::SetUnitObserver(m_previous); }

private:
    vsk::package::UnitObserver m_previous;
};

// The package's units in initialisation order, as the library's users know them.
const std::vector<std::string> kUnitOrder = {
    "Voskellib",       "Cloneable",    "Filelogger",  "Vskpipe",          "Thread",
    "Vskolednd",       "Vskstrbase",   "Commonfunctions", "Vskdatetime",  "Vskdebug",
    "Dirinfo",         "Vskfile",      "Vskstr",      "Commfuncbcb",      "Selectdirectory",
    "Vskalgorithm",    "Vskcheckers",  "Vskdib",      "Vskmath",          "Vskmem",
    "Vskmemorymanager", "Vskrefcnt",   "Vskserializeif", "Vskstringbuffer", "Vskstrrefcnt",
    "Vskstrw",         "Vskwnd",       "Vskwndimefull", "Ubaserefcnt",    "Voskellib_stdafx"};

std::vector<std::string> Prefixed(const char* prefix, std::vector<std::string> names) {
    for (std::string& name : names)
        name = prefix + name;
    return names;
}

std::string ReadRcData(const char* name) {
    HMODULE dll = GetModuleHandleA("voskellib.dll");
    if (!dll)
        return {};
    HRSRC info = FindResourceA(dll, name, MAKEINTRESOURCEA(10) /* RT_RCDATA */);
    if (!info)
        return {};
    HGLOBAL data = LoadResource(dll, info);
    const char* bytes = static_cast<const char*>(LockResource(data));
    return std::string(bytes, SizeofResource(dll, info));
}

// Reads a 32-bit count and then that many NUL-terminated names.
std::vector<std::string> ReadNames(const std::string& record, std::size_t& at) {
    std::uint32_t count = 0;
    std::memcpy(&count, record.data() + at, 4);
    at += 4;
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::size_t end = record.find('\0', at);
        names.push_back(record.substr(at, end - at));
        at = end + 1;
    }
    return names;
}

TEST(Package, LoadingTheDllInitialisedEveryUnitOnce) {
    EXPECT_EQ(-1, Voskellib::Counter());
    EXPECT_EQ(-1, Vskstr::Counter());
    EXPECT_EQ(-1, Voskellib_stdafx::Counter());
}

TEST(UnitProtocol, SecondInitializeAndItsFinalizeOnlyCount) {
    UnitObserverScope observe;
    Vskmath::Initialize();
    EXPECT_EQ(-2, Vskmath::Counter());
    Vskmath::Finalize();
    EXPECT_EQ(-1, Vskmath::Counter());
    EXPECT_TRUE(g_events.empty());
}

TEST(UnitProtocol, InitializeTwiceFinalizeTwiceRunsStartAndExitOnceEach) {
    UnitObserverScope observe;
    Vskmath::Finalize(); // back to not started, as before the package was loaded
    ASSERT_EQ(0, Vskmath::Counter());
    g_events.clear();

    Vskmath::Initialize();
    Vskmath::Initialize();
    EXPECT_EQ(-2, Vskmath::Counter());
    Vskmath::Finalize();
    Vskmath::Finalize();
    EXPECT_EQ(0, Vskmath::Counter());
    EXPECT_EQ((std::vector<std::string>{"start Vskmath", "stop Vskmath"}), g_events);

    Vskmath::Initialize(); // as the loader left it
    EXPECT_EQ(-1, Vskmath::Counter());
}

TEST(PackagePair, RepeatedPairOnlyCounts) {
    UnitObserverScope observe;
    vsk::package::Initialize();
    EXPECT_EQ(-2, Vskstr::Counter());
    vsk::package::Finalize();
    EXPECT_EQ(-1, Vskstr::Counter());
    EXPECT_TRUE(g_events.empty());
}

TEST(PackagePair, StopsUnitsInReverseAndStartsThemInTableOrder) {
    UnitObserverScope observe;
    vsk::package::Finalize();
    const std::vector<std::string> stops = g_events;
    g_events.clear();
    vsk::package::Initialize();
    const std::vector<std::string> starts = g_events;

    std::vector<std::string> reversed(kUnitOrder.rbegin(), kUnitOrder.rend());
    EXPECT_EQ(Prefixed("stop ", reversed), stops);
    EXPECT_EQ(Prefixed("start ", kUnitOrder), starts);

    // Strings made after the package restarted work as before.
    vskstr::CVskStr text("abc");
    EXPECT_EQ(1, text.Pos("b"));
}

TEST(PackageDescription, DescriptionIsVoskelLIB) {
    const std::string record = ReadRcData("DESCRIPTION");
    ASSERT_FALSE(record.empty()) << "DESCRIPTION resource missing: " << GetLastError();
    EXPECT_EQ(std::wstring(L"VoskelLIB"), std::wstring(reinterpret_cast<const wchar_t*>(record.data())));
}

TEST(PackageDescription, RequiresTheFrameworkPackagesAndContainsTheUnitsInOrder) {
    const std::string record = ReadRcData("PACKAGEINFO");
    ASSERT_GE(record.size(), 12u) << "PACKAGEINFO resource missing: " << GetLastError();
    std::uint32_t version = 0;
    std::memcpy(&version, record.data(), 4);
    EXPECT_EQ(1u, version);
    std::size_t at = 4;
    EXPECT_EQ((std::vector<std::string>{"hostfw_runtime", "hostfw_visual", "hostfw_dbruntime", "hostfw_dbvisual"}), ReadNames(record, at));
    EXPECT_EQ(kUnitOrder, ReadNames(record, at));
    EXPECT_EQ(record.size(), at);
}

// --- start-up and exit routines ------------------------------------------------

std::vector<std::string> g_routines;

void RecordRoutine(const char* unit, bool startUp) {
    g_routines.push_back(std::string(startUp ? "start-up " : "exit ") + unit);
}

// The routines that run over one whole stop and restart of the package, in
// the order they ran.
std::vector<std::string> RoutinesOfARestart() {
    g_routines.clear();
    vsk::package::UnitRoutineObserver previous = vsk::package::SetUnitRoutineObserver(RecordRoutine);
    vsk::package::Finalize();
    vsk::package::Initialize();
    vsk::package::SetUnitRoutineObserver(previous);
    return g_routines;
}

TEST(UnitRoutines, OnlyTheUnitsWithRoutinesRunThemInUnitOrder) {
    const std::vector<std::string> ran = RoutinesOfARestart();
    // Exit routines in reverse unit order, start-up routines in unit order.
    std::vector<std::string> exits;
    std::vector<std::string> startUps;
    for (const std::string& routine : ran)
        (routine.compare(0, 5, "exit ") == 0 ? exits : startUps).push_back(routine);
    EXPECT_EQ((std::vector<std::string>{"exit Vskmemorymanager", "exit Commfuncbcb", "exit Vskdebug",
                                        "exit Vskdatetime", "exit Commonfunctions", "exit Thread",
                                        "exit Filelogger"}),
              exits);
    EXPECT_EQ((std::vector<std::string>{"start-up Filelogger", "start-up Thread", "start-up Commonfunctions",
                                        "start-up Vskdebug", "start-up Vskmemorymanager"}),
              startUps);
    // Every exit routine runs before every start-up routine.
    ASSERT_FALSE(ran.empty());
    EXPECT_EQ(0u, ran.front().compare(0, 5, "exit "));
}

TEST(UnitRoutines, ARepeatedPairRunsNoRoutine) {
    g_routines.clear();
    vsk::package::UnitRoutineObserver previous = vsk::package::SetUnitRoutineObserver(RecordRoutine);
    vsk::package::Initialize();
    vsk::package::Finalize();
    Vskmath::Finalize();
    Vskmath::Initialize();
    vsk::package::SetUnitRoutineObserver(previous);
    EXPECT_TRUE(g_routines.empty());
}

TEST(UnitRoutines, CommfuncbcbsExitRoutineDestroysTheWildCardTableWhichALaterUseMakesAgain) {
    EXPECT_EQ(std::string(vsk::bcb::CReg::ConvToPerl("*.t?t").c_str()), ".*.t.t");
    const std::vector<std::string> ran = RoutinesOfARestart();
    EXPECT_EQ(1, std::count(ran.begin(), ran.end(), "exit Commfuncbcb"));
    EXPECT_EQ(std::string(vsk::bcb::CReg::ConvToPerl("*.t?t").c_str()), ".*.t.t");
}

} // namespace
