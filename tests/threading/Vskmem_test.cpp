// Vskmem_test.cpp - CVskMem: sized and filled construction, deep copies,
// resizing that keeps the leading bytes, and failures that leave the object
// as it was.
#include "threading/Vskmem.h"

#include "tests/support/TestSupport.h"
#include "tests/threading/ImportSlots.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// What the library asked the C runtime heap for while a CHeapCalls lives.
struct HeapCall {
    char kind; // 'm' malloc, 'r' realloc, 'f' free
    std::size_t size;
    void* pointer;
};
std::vector<HeapCall> g_calls;
// malloc of this size yields null while set.
bool g_failMalloc = false;
std::size_t g_failMallocSize = 0;
void* (*g_malloc)(std::size_t) = nullptr;
void* (*g_realloc)(void*, std::size_t) = nullptr;
void (*g_free)(void*) = nullptr;

void* RecordingMalloc(std::size_t n) {
    g_calls.push_back({'m', n, nullptr});
    if (g_failMalloc && n == g_failMallocSize)
        return nullptr;
    return g_malloc(n);
}
void* RecordingRealloc(void* p, std::size_t n) {
    g_calls.push_back({'r', n, p});
    return g_realloc(p, n);
}
void RecordingFree(void* p) {
    g_calls.push_back({'f', 0, p});
    g_free(p);
}

// Records the library's malloc, realloc and free. CHeapCalls(n) also makes
// malloc(n) yield null: a mock for malloc(0), which this C runtime never
// answers with null by itself, and for sizes that would fail only after
// taking most of the address space.
class CHeapCalls {
public:
    CHeapCalls() : CHeapCalls(false, 0) {}
    explicit CHeapCalls(std::size_t failingSize) : CHeapCalls(true, failingSize) {}
    CHeapCalls(bool fail, std::size_t failingSize)
        : m_malloc("malloc", reinterpret_cast<void*>(&RecordingMalloc), reinterpret_cast<void**>(&g_malloc)),
          m_realloc("realloc", reinterpret_cast<void*>(&RecordingRealloc), reinterpret_cast<void**>(&g_realloc)),
          m_free("free", reinterpret_cast<void*>(&RecordingFree), reinterpret_cast<void**>(&g_free)) {
        g_calls.clear();
        g_failMalloc = fail;
        g_failMallocSize = failingSize;
    }
    ~CHeapCalls() { g_failMalloc = false; }
    bool Patched() const { return m_malloc.Patched() && m_realloc.Patched() && m_free.Patched(); }

private:
    vsktest::CImportSlotPatch m_malloc;
    vsktest::CImportSlotPatch m_realloc;
    vsktest::CImportSlotPatch m_free;
};

std::string Bytes(const CVskMem& mem, unsigned int count) {
    return std::string(static_cast<const char*>(mem.GetBuffer()), count);
}

std::string Bytes(const CVskMem& mem) {
    return Bytes(mem, mem.GetSize());
}

void Fill(CVskMem& mem, const std::string& bytes) {
    std::memcpy(mem.GetBuffer(), bytes.data(), bytes.size());
}

// Sixteen bytes with NULs, a 0x5C trail byte and high bytes inside.
const std::string kPattern("\x95\x5C\0\x01\xFF\x80\0\0\x41\x42\x5C\x00\x7F\xE0\x40\x0A", 16);

// A size that no 32-bit heap can give.
const unsigned int kTooLarge = 0xFFFFFFF0u;

template <typename Call>
std::string RuntimeErrorText(Call call) {
    try {
        call();
    } catch (const std::runtime_error& e) {
        return e.what();
    } catch (...) {
        return "<another exception>";
    }
    return "<no exception>";
}

// ---------------------------------------------------------------------------
// Construction
// ---------------------------------------------------------------------------

TEST(CVskMem, DefaultIsEmptyWithNullBuffer) {
    CVskMem mem;
    EXPECT_EQ(mem.GetBuffer(), nullptr);
    EXPECT_EQ(mem.GetSize(), 0u);
}

TEST(CVskMem, FilledConstructorHoldsSixteenBytesOfAB) {
    CVskMem mem(16, 0xAB);
    ASSERT_NE(mem.GetBuffer(), nullptr);
    EXPECT_EQ(mem.GetSize(), 16u);
    EXPECT_EQ(Bytes(mem), std::string(16, '\xAB'));
}

TEST(CVskMem, FilledConstructorWithZeroFillsWithNuls) {
    CVskMem mem(5, 0x00);
    EXPECT_EQ(Bytes(mem), std::string(5, '\0'));
}

TEST(CVskMem, SizedConstructorTakesExactlyThatManyBytesFromMalloc) {
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    CVskMem mem(37);
    EXPECT_EQ(mem.GetSize(), 37u);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].kind, 'm');
    EXPECT_EQ(g_calls[0].size, 37u);
}

TEST(CVskMem, SizedConstructorWithZeroPassesZeroToMallocAndGetsABlock) {
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    CVskMem mem(0);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].kind, 'm');
    EXPECT_EQ(g_calls[0].size, 0u);
    // This C runtime answers malloc(0) with a valid block.
    EXPECT_NE(mem.GetBuffer(), nullptr);
    EXPECT_EQ(mem.GetSize(), 0u);
}

TEST(CVskMem, FilledConstructorWithZeroSizeWritesNothing) {
    CVskMem mem(0, 0xCD);
    EXPECT_NE(mem.GetBuffer(), nullptr);
    EXPECT_EQ(mem.GetSize(), 0u);
}

TEST(CVskMem, MockedNullMallocOfZeroMakesTheSizedConstructorThrow) {
    CHeapCalls calls(0);
    ASSERT_TRUE(calls.Patched());
    EXPECT_EQ(RuntimeErrorText([] { CVskMem mem(0); }), "CVskMem::CVskMem()");
    EXPECT_EQ(RuntimeErrorText([] { CVskMem mem(0, 0x11); }), "CVskMem::CVskMem()");
}

TEST(CVskMem, SizeThatCannotBeAllocatedThrowsFromBothSizedConstructors) {
    EXPECT_EQ(RuntimeErrorText([] { CVskMem mem(kTooLarge); }), "CVskMem::CVskMem()");
    EXPECT_EQ(RuntimeErrorText([] { CVskMem mem(kTooLarge, 0xAB); }), "CVskMem::CVskMem()");
    EXPECT_EQ(RuntimeErrorText([] { CVskMem mem(0xFFFFFFFFu); }), "CVskMem::CVskMem()");
}

TEST(CVskMem, ConstructorMessageIsExactBytes) {
    EXPECT_EQ(RuntimeErrorText([] { CVskMem mem(kTooLarge); }),
              std::string("\x43\x56\x73\x6B\x4D\x65\x6D\x3A\x3A\x43\x56\x73\x6B\x4D\x65\x6D\x28\x29"));
}

TEST(CVskMem, DestructorFreesTheBuffer) {
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    void* buffer = nullptr;
    {
        CVskMem mem(8);
        buffer = mem.GetBuffer();
        g_calls.clear();
    }
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].kind, 'f');
    EXPECT_EQ(g_calls[0].pointer, buffer);
}

TEST(CVskMem, DestructorOfAnEmptyObjectFreesNull) {
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    { CVskMem mem; }
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].kind, 'f');
    EXPECT_EQ(g_calls[0].pointer, nullptr);
}

// ---------------------------------------------------------------------------
// Copies
// ---------------------------------------------------------------------------

TEST(CVskMem, CopyIsDeepAndKeepsEmbeddedNuls) {
    CVskMem original(16);
    Fill(original, kPattern);
    CVskMem copy(original);
    EXPECT_EQ(copy.GetSize(), 16u);
    EXPECT_NE(copy.GetBuffer(), original.GetBuffer());
    EXPECT_EQ(Bytes(copy), kPattern);
    static_cast<unsigned char*>(copy.GetBuffer())[0] = 0;
    EXPECT_EQ(Bytes(original), kPattern);
}

TEST(CVskMem, CopyOfAnEmptyObjectStaysEmptyWithoutAllocating) {
    CVskMem empty;
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    CVskMem copy(empty);
    EXPECT_EQ(copy.GetBuffer(), nullptr);
    EXPECT_EQ(copy.GetSize(), 0u);
    EXPECT_TRUE(g_calls.empty());
}

TEST(CVskMem, AssigningTheSameSizeCopiesIntoTheExistingBuffer) {
    CVskMem source(16);
    Fill(source, kPattern);
    CVskMem target(16, 0x00);
    void* before = target.GetBuffer();
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    target = source;
    EXPECT_TRUE(g_calls.empty());
    EXPECT_EQ(target.GetBuffer(), before);
    EXPECT_EQ(Bytes(target), kPattern);
}

TEST(CVskMem, AssigningAnotherSizeTakesANewBlockAndFreesTheOld) {
    CVskMem source(16);
    Fill(source, kPattern);
    CVskMem target(3, 0x00);
    void* old = target.GetBuffer();
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    target = source;
    ASSERT_EQ(g_calls.size(), 2u);
    EXPECT_EQ(g_calls[0].kind, 'm');
    EXPECT_EQ(g_calls[0].size, 16u);
    EXPECT_EQ(g_calls[1].kind, 'f');
    EXPECT_EQ(g_calls[1].pointer, old);
    EXPECT_EQ(target.GetSize(), 16u);
    EXPECT_EQ(Bytes(target), kPattern);
}

TEST(CVskMem, AssigningAnEmptyObjectAllocatesAZeroByteBlock) {
    CVskMem empty;
    CVskMem target(16, 0xAB);
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    target = empty;
    ASSERT_GE(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].kind, 'm');
    EXPECT_EQ(g_calls[0].size, 0u);
    EXPECT_EQ(target.GetSize(), 0u);
    EXPECT_NE(target.GetBuffer(), nullptr);
}

TEST(CVskMem, MockedNullMallocOfZeroMakesAssigningAnEmptyObjectThrowAndKeepTheTarget) {
    CVskMem empty;
    CVskMem target(16);
    Fill(target, kPattern);
    void* before = target.GetBuffer();
    CHeapCalls calls(0);
    ASSERT_TRUE(calls.Patched());
    EXPECT_EQ(RuntimeErrorText([&] { target = empty; }), "CVskMem::operator=()");
    EXPECT_EQ(target.GetBuffer(), before);
    EXPECT_EQ(target.GetSize(), 16u);
    EXPECT_EQ(Bytes(target), kPattern);
}

TEST(CVskMem, AssignmentMessageIsExactBytes) {
    CVskMem empty;
    CVskMem target(1);
    CHeapCalls calls(0);
    ASSERT_TRUE(calls.Patched());
    EXPECT_EQ(RuntimeErrorText([&] { target = empty; }),
              std::string("\x43\x56\x73\x6B\x4D\x65\x6D\x3A\x3A\x6F\x70\x65\x72\x61\x74\x6F\x72\x3D\x28\x29"));
}

TEST(CVskMem, MockedFailingMallocMakesCopyConstructionThrowTheAssignmentMessage) {
    CVskMem source(16, 0x5C);
    CHeapCalls calls(16);
    ASSERT_TRUE(calls.Patched());
    EXPECT_EQ(RuntimeErrorText([&] { CVskMem copy(source); }), "CVskMem::operator=()");
}

TEST(CVskMem, MockedFailingMallocMakesAssigningAnotherSizeThrowAndKeepTheTarget) {
    CVskMem source(24, 0x00);
    CVskMem target(16);
    Fill(target, kPattern);
    void* before = target.GetBuffer();
    CHeapCalls calls(24);
    ASSERT_TRUE(calls.Patched());
    EXPECT_EQ(RuntimeErrorText([&] { target = source; }), "CVskMem::operator=()");
    EXPECT_EQ(target.GetBuffer(), before);
    EXPECT_EQ(target.GetSize(), 16u);
    EXPECT_EQ(Bytes(target), kPattern);
    // Nothing was freed.
    for (const HeapCall& call : g_calls)
        EXPECT_NE(call.kind, 'f');
}

TEST(CVskMem, SelfAssignmentChangesNothing) {
    CVskMem mem(16);
    Fill(mem, kPattern);
    void* before = mem.GetBuffer();
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    CVskMem& alias = mem;
    mem = alias;
    EXPECT_TRUE(g_calls.empty());
    EXPECT_EQ(mem.GetBuffer(), before);
    EXPECT_EQ(Bytes(mem), kPattern);
}

TEST(CVskMem, AssignmentReturnsTheTarget) {
    CVskMem a(4, 1), b(4, 2);
    EXPECT_EQ(&(a = b), &a);
}

// ---------------------------------------------------------------------------
// Resize
// ---------------------------------------------------------------------------

TEST(CVskMem, ResizeToTheCurrentSizeTouchesNothing) {
    CVskMem mem(16);
    Fill(mem, kPattern);
    void* before = mem.GetBuffer();
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    EXPECT_TRUE(mem.Resize(16));
    EXPECT_TRUE(g_calls.empty());
    EXPECT_EQ(mem.GetBuffer(), before);
    EXPECT_EQ(Bytes(mem), kPattern);
}

TEST(CVskMem, ResizeToZeroReportsZeroAndKeepsAOneByteBlockWithTheFirstByte) {
    CVskMem mem(16);
    Fill(mem, kPattern);
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    EXPECT_TRUE(mem.Resize(0));
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].kind, 'r');
    EXPECT_EQ(g_calls[0].size, 1u);
    EXPECT_EQ(mem.GetSize(), 0u);
    ASSERT_NE(mem.GetBuffer(), nullptr);
    EXPECT_EQ(Bytes(mem, 1), kPattern.substr(0, 1));
}

TEST(CVskMem, ResizeToZeroOfAnEmptyObjectIsANoOp) {
    CVskMem mem;
    CHeapCalls calls;
    ASSERT_TRUE(calls.Patched());
    EXPECT_TRUE(mem.Resize(0));
    EXPECT_TRUE(g_calls.empty());
    EXPECT_EQ(mem.GetBuffer(), nullptr);
}

TEST(CVskMem, ResizeOfAnEmptyObjectAllocates) {
    CVskMem mem;
    EXPECT_TRUE(mem.Resize(16));
    ASSERT_NE(mem.GetBuffer(), nullptr);
    EXPECT_EQ(mem.GetSize(), 16u);
    Fill(mem, kPattern);
    EXPECT_EQ(Bytes(mem), kPattern);
}

TEST(CVskMem, GrowingKeepsTheLeadingBytes) {
    CVskMem mem(16);
    Fill(mem, kPattern);
    EXPECT_TRUE(mem.Resize(17));
    EXPECT_EQ(Bytes(mem, 16), kPattern);
    // Far enough that the block has to move.
    EXPECT_TRUE(mem.Resize(4 * 1024 * 1024));
    EXPECT_EQ(mem.GetSize(), 4u * 1024 * 1024);
    EXPECT_EQ(Bytes(mem, 16), kPattern);
    static_cast<unsigned char*>(mem.GetBuffer())[4 * 1024 * 1024 - 1] = 0x5C;
}

TEST(CVskMem, ShrinkingKeepsTheLeadingBytes) {
    CVskMem mem(16);
    Fill(mem, kPattern);
    EXPECT_TRUE(mem.Resize(5));
    EXPECT_EQ(mem.GetSize(), 5u);
    EXPECT_EQ(Bytes(mem), kPattern.substr(0, 5));
}

TEST(CVskMem, GrowingAfterResizeToZeroKeepsTheHeldByte) {
    CVskMem mem(16);
    Fill(mem, kPattern);
    mem.Resize(0);
    EXPECT_TRUE(mem.Resize(8));
    EXPECT_EQ(mem.GetSize(), 8u);
    EXPECT_EQ(Bytes(mem, 1), kPattern.substr(0, 1));
}

TEST(CVskMem, ResizeThatCannotBeAllocatedThrowsAndLeavesTheObjectAsItWas) {
    CVskMem mem(16);
    Fill(mem, kPattern);
    void* before = mem.GetBuffer();
    EXPECT_EQ(RuntimeErrorText([&] { mem.Resize(kTooLarge); }), "CVskMem::Resize()");
    EXPECT_EQ(mem.GetBuffer(), before);
    EXPECT_EQ(mem.GetSize(), 16u);
    EXPECT_EQ(Bytes(mem), kPattern);
    // The object goes on working.
    EXPECT_TRUE(mem.Resize(32));
    EXPECT_EQ(Bytes(mem, 16), kPattern);
}

TEST(CVskMem, ResizeOfAnEmptyObjectThatCannotBeAllocatedStaysEmpty) {
    CVskMem mem;
    EXPECT_EQ(RuntimeErrorText([&] { mem.Resize(kTooLarge); }), "CVskMem::Resize()");
    EXPECT_EQ(mem.GetBuffer(), nullptr);
    EXPECT_EQ(mem.GetSize(), 0u);
}

TEST(CVskMem, ResizeMessageIsExactBytes) {
    CVskMem mem(1);
    EXPECT_EQ(RuntimeErrorText([&] { mem.Resize(kTooLarge); }),
              std::string("\x43\x56\x73\x6B\x4D\x65\x6D\x3A\x3A\x52\x65\x73\x69\x7A\x65\x28\x29"));
}

TEST(CVskMem, FailuresAreRuntimeErrors) {
    CVskMem mem(1);
    EXPECT_THROW(mem.Resize(kTooLarge), std::runtime_error);
    EXPECT_THROW(CVskMem mem(kTooLarge), std::runtime_error);
}

TEST(CVskMem, DeletingThroughTheVirtualDestructorFreesTheBuffer) {
    struct CDerived : CVskMem {
        explicit CDerived(bool* gone) : CVskMem(1 << 20, 0), m_gone(gone) {}
        ~CDerived() override { *m_gone = true; }
        bool* m_gone;
    };
    bool gone = false;
    const std::size_t before = vsktest::CrtHeapBytesInUse();
    CVskMem* mem = new CDerived(&gone);
    EXPECT_GE(vsktest::CrtHeapBytesInUse(), before + (1 << 20));
    delete mem;
    EXPECT_TRUE(gone);
    // The base's destructor ran too: the mebibyte is back.
    EXPECT_LT(vsktest::CrtHeapBytesInUse(), before + 4096);
}

} // namespace
