// Commonfunctions_ntpath_test.cpp - MakeFullPath and MakeRelPath against
// Python's ntpath on 10,000 generated pairs each.
//
// The table beside this program (path_table.txt) is written at build time by
// tests/files/gen_path_table.py with ntpath.normpath(ntpath.join(base, rel))
// and ntpath.relpath(path, base). The library differs from ntpath on purpose
// in these places, which the generator keeps out by construction:
//   1. Prefix rule: components compare over the length of the second one, so
//      "ab" matches "abc", and a component that begins with ".." or "." is
//      taken as ".." or "." by MakeFullPath. Generated names are all 4
//      characters long and never begin with a full stop.
//   2. Trailing separator: the library keeps one that the relative path (or
//      MakeRelPath's path) ends with; ntpath drops it. Generated paths never
//      end in a separator.
//   3. Bare roots: a full result at the root is "C:" or "\\srv\share" here,
//      "C:\" or "\\srv\share\" for ntpath. No generated result is a root.
//   4. "." results: ntpath gives "." for an empty relative normpath; the
//      library takes a base without root as an opaque prefix instead. Every
//      generated base has a root (MakeRelPath's "." for equal paths is the
//      same on both sides and is in the table).
//   5. A relative path that begins with one separator is relative to the base
//      here, to the drive's root for ntpath; a path "//srv/x" is relative
//      here, a network path for ntpath. Generated relative paths never begin
//      with a separator.
//   6. MakeRelPath does not resolve "." and ".."; generated inputs of it hold
//      none.
//   7. Paths on different drives or shares: ntpath.relpath raises ValueError,
//      MakeRelPath gives the path back whole with "/" turned into "\". These
//      rows (kind X) check the library's answer.
#include "files/Commonfunctions.h"

#include "platform/Win32.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using vskstr::CVskStr;

struct CRow {
    char kind;
    std::string base;
    std::string path;
    std::string expected;
    int line;
};

std::string TablePath() {
    char exe[MAX_PATH * 2] = {};
    const DWORD n = GetModuleFileNameA(nullptr, exe, sizeof exe);
    std::string folder(exe, n);
    folder.erase(folder.find_last_of('\\') + 1);
    return folder + "path_table.txt";
}

std::vector<CRow> LoadTable() {
    const std::string bytes = vsktest::ReadFileBytes(TablePath());
    std::vector<CRow> rows;
    std::istringstream in(bytes);
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (line.empty() || line[0] == '#')
            continue;
        std::vector<std::string> fields;
        std::size_t start = 0;
        for (std::size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1)
            fields.push_back(line.substr(start, tab - start));
        fields.push_back(line.substr(start));
        if (fields.size() != 4 || fields[0].size() != 1)
            throw std::runtime_error("bad table line " + std::to_string(number));
        rows.push_back({fields[0][0], fields[1], fields[2], fields[3], number});
    }
    return rows;
}

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), s.Length()); }

CVskStr Str(const std::string& bytes) { return CVskStr(bytes.data(), static_cast<int>(bytes.size())); }

class CNtpathTable : public ::testing::Test {
protected:
    static void SetUpTestSuite() { s_rows = new std::vector<CRow>(LoadTable()); }
    static void TearDownTestSuite() {
        delete s_rows;
        s_rows = nullptr;
    }
    static int Count(char kind) {
        int n = 0;
        for (const CRow& row : *s_rows)
            n += row.kind == kind;
        return n;
    }
    // Runs `function` over the rows of `kind`, reporting the first mismatches.
    template <typename Function>
    static int Mismatches(char kind, Function function) {
        int wrong = 0;
        for (const CRow& row : *s_rows) {
            if (row.kind != kind)
                continue;
            const std::string got = Bytes(function(Str(row.base), Str(row.path)));
            if (got != row.expected && ++wrong <= 20)
                ADD_FAILURE() << "line " << row.line << ": base '" << row.base << "' path '" << row.path
                              << "': library '" << got << "', ntpath '" << row.expected << "'";
        }
        return wrong;
    }
    static inline std::vector<CRow>* s_rows = nullptr;
};

TEST_F(CNtpathTable, HoldsTenThousandPairsOfEachFunction) {
    EXPECT_EQ(Count('F'), 10000);
    EXPECT_EQ(Count('R') + Count('X'), 10000);
}

TEST_F(CNtpathTable, CoversTheInterestingShapes) {
    // A table that never climbs, never meets a trail byte 0x5C or never
    // gives "." would prove little.
    int climbs = 0, trail5C = 0, sameFolder = 0, network = 0, slashes = 0, caseDiffers = 0;
    for (const CRow& row : *s_rows) {
        climbs += row.path.find("..") != std::string::npos || row.expected.find("..") != std::string::npos;
        trail5C += row.expected.find("\x95\x5C") != std::string::npos;
        sameFolder += row.expected == ".";
        network += row.base.rfind("\\\\", 0) == 0 || row.base.rfind("//", 0) == 0;
        slashes += row.path.find('/') != std::string::npos;
        caseDiffers += row.kind == 'R' && row.base.substr(0, 2) != row.path.substr(0, 2);
    }
    EXPECT_GT(Count('X'), 500);
    EXPECT_GT(climbs, 3000);
    EXPECT_GT(trail5C, 500);
    EXPECT_GT(sameFolder, 100);
    EXPECT_GT(network, 1000);
    EXPECT_GT(slashes, 1000);
    EXPECT_GT(caseDiffers, 500);
}

TEST_F(CNtpathTable, MakeFullPathAgreesWithNormpathOfJoin) {
    EXPECT_EQ(Mismatches('F', [](CVskStr b, CVskStr p) { return vsk::MakeFullPath(b, p); }), 0);
}

TEST_F(CNtpathTable, MakeRelPathAgreesWithRelpath) {
    EXPECT_EQ(Mismatches('R', [](CVskStr b, CVskStr p) { return vsk::MakeRelPath(b, p); }), 0);
}

TEST_F(CNtpathTable, MakeRelPathGivesThePathWholeWhereRelpathRaises) {
    EXPECT_EQ(Mismatches('X', [](CVskStr b, CVskStr p) { return vsk::MakeRelPath(b, p); }), 0);
}

} // namespace
