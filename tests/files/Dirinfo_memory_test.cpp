// Dirinfo_memory_test.cpp - a listing during which the C heap runs out: the
// search goes through the system, and after the third record the heap is
// taken until no find record fits, so the next copy really cannot be made.
#include "files/Dirinfo.h"

#include "tests/support/TestSupport.h"
#include "files/internal/DirinfoHooks.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Takes the C heap until no block of `floor` bytes or more can be had.
class CHeapExhaustion {
public:
    explicit CHeapExhaustion(std::size_t floor) {
        m_blocks.reserve(1 << 16);
        for (std::size_t size = 256u << 20; size > floor; size /= 4)
            TakeAll(size);
        TakeAll(floor);
    }
    ~CHeapExhaustion() { Release(); }
    CHeapExhaustion(const CHeapExhaustion&) = delete;
    CHeapExhaustion& operator=(const CHeapExhaustion&) = delete;

    void Release() {
        for (void* block : m_blocks)
            std::free(block);
        m_blocks.clear();
    }

private:
    void TakeAll(std::size_t size) {
        while (m_blocks.size() < m_blocks.capacity()) {
            void* block = std::malloc(size);
            if (!block)
                return;
            m_blocks.push_back(block);
        }
    }

    std::vector<void*> m_blocks;
};

CHeapExhaustion* g_exhaustion = nullptr;
int g_nextCalls = 0;

BOOL WINAPI ExhaustAfterThreeRecords(HANDLE search, WIN32_FIND_DATAA* record) {
    if (++g_nextCalls == 3 && !g_exhaustion)
        g_exhaustion = new CHeapExhaustion(sizeof(WIN32_FIND_DATAA));
    return FindNextFileA(search, record);
}

} // namespace

TEST(CDirInfo, HeapRunningOutWhileListingGivesMinusOneAndKeepsTheRecordsRead) {
    vsktest::CTempDir dir;
    for (int i = 0; i < 10; ++i)
        vsktest::WriteFileBytes(dir.File("f" + std::to_string(i) + ".txt"), "x");
    // The names in the system's order, from a listing without the shortage.
    CDirInfo full;
    ASSERT_EQ(0, full.GetDirInfo((dir.Path() + "\\*.*").c_str()));
    ASSERT_EQ(12u, full.DirInfoList.size());

    CDirInfo info;
    info.DirInfoList.reserve(64); // the list itself needs no memory on the way
    g_nextCalls = 0;
    const auto previous = vsk::detail::SetFindNextFileFunction(ExhaustAfterThreeRecords);
    const int result = info.GetDirInfo((dir.Path() + "\\*.*").c_str());
    vsk::detail::SetFindNextFileFunction(previous);
    const bool exhausted = g_exhaustion != nullptr;
    delete g_exhaustion;
    g_exhaustion = nullptr;

    ASSERT_TRUE(exhausted);
    EXPECT_EQ(-1, result);
    ASSERT_EQ(3u, info.DirInfoList.size());
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_STREQ(full.DirInfoList[i]->cFileName, info.DirInfoList[i]->cFileName) << i;
}
