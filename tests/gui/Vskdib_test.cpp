// Vskdib_test.cpp - tests of CVskDIB: creation, copies and row copies. BMP
// files, the corpus, painting and the fuzz run have files of their own.
#include "tests/gui/VskdibTestSupport.h"

using namespace vskdibtest;

// ---- creation ---------------------------------------------------------------

TEST(CVskDIBCreate, DefaultIsOneByOneWithStrideFour) {
    CVskDIB dib;
    EXPECT_EQ(dib.GetWidth(), 1);
    EXPECT_EQ(dib.GetHeight(), 1);
    EXPECT_EQ(dib.GetStride(), 4);
    ASSERT_NE(dib.GetBits(), nullptr);
    EXPECT_NE(dib.GetDC(), nullptr);
    EXPECT_EQ(GetObjectType(static_cast<HDC>(dib.GetDC())), DWORD(OBJ_MEMDC));
}

TEST(CVskDIBCreate, StrideRoundsRowsUpToFourBytes) {
    const struct {
        int width;
        int stride;
    } cases[] = {{1, 4}, {2, 8}, {3, 12}, {4, 12}, {5, 16}, {6, 20}, {7, 24}, {8, 24}, {127, 384}, {640, 1920}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.width);
        CVskDIB dib(c.width, 3);
        EXPECT_EQ(dib.GetStride(), c.stride);
        EXPECT_EQ(dib.GetWidth(), c.width);
        EXPECT_EQ(dib.GetHeight(), 3);
    }
}

TEST(CVskDIBCreate, PixelsAndPaddingStartZero) {
    CVskDIB dib(5, 7);
    for (int i = 0; i < dib.GetStride() * dib.GetHeight(); ++i) {
        ASSERT_EQ(dib.GetBits()[i], 0) << "byte " << i;
    }
}

TEST(CVskDIBCreate, EveryPaddingByteOfEveryRowIsZeroAfterARecreation) {
    // What users rely on: a re-created bitmap shows none of the old bytes in
    // its padding (it fails if the old pixel memory were reused). It does not
    // show the bitmap's own zeroing of each row's last 4 bytes: the sections
    // it asks the system for always come zeroed, and no path of the bitmap
    // hands it memory the system did not zero.
    for (int width = 1; width <= 8; ++width) {
        SCOPED_TRACE(width);
        CVskDIB dib(width, 4);
        std::memset(dib.GetBits(), 0xAB, std::size_t(dib.GetStride()) * dib.GetHeight());
        ASSERT_TRUE(dib.CreateBitmap(width, 4));
        for (int y = 0; y < 4; ++y) {
            for (int i = width * 3; i < dib.GetStride(); ++i) {
                EXPECT_EQ(Pixel(dib, 0, y)[i], 0) << "row " << y << " byte " << i;
            }
        }
    }
}

TEST(CVskDIBCreate, RowsAreTopDownInMemory) {
    CVskDIB dib(3, 2);
    SetPixel24(dib, 0, 0, 1, 2, 3);
    SetPixel24(dib, 2, 1, 4, 5, 6);
    EXPECT_EQ(dib.GetBits()[0], 1);
    EXPECT_EQ(dib.GetBits()[dib.GetStride() + 6], 4);
    EXPECT_EQ(dib.GetBits()[dib.GetStride() + 8], 6);
}

TEST(CVskDIBCreate, NonPositiveSizesThrowInvalidArgument) {
    for (auto size : {std::pair<int, int>{0, 1}, {1, 0}, {-1, 5}, {5, -1}, {0, 0}}) {
        SCOPED_TRACE(std::to_string(size.first) + "x" + std::to_string(size.second));
        EXPECT_EQ(ErrorOf<std::invalid_argument>([&] { CVskDIB dib(size.first, size.second); }),
                  "CVskDIB::CVskDIB()");
    }
}

TEST(CVskDIBCreate, UnallocatableSizeThrowsRuntimeError) {
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB dib(100000, 100000); }),
              "\x43\x56\x73\x6B\x44\x49\x42\x3A\x3A\x43\x56\x73\x6B\x44\x49\x42\x28\x29");
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB dib(0x7FFFFFFF, 1); }), "CVskDIB::CVskDIB()");
    // stride * height past 64 bits must not wrap into a small size.
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB dib(0x7FFFFFFF, 0x7FFFFFFF); }), "CVskDIB::CVskDIB()");
    // stride * height past 32 bits: 0x30000 * 0x5556 wraps to 0x20000.
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB dib(0x10000, 0x5556); }), "CVskDIB::CVskDIB()");
}

namespace {

// A failed creation keeps the size it was asked for, and no pixels.
void ExpectFailedCreation(CVskDIB& dib, int width, int height, int stride) {
    EXPECT_FALSE(dib.CreateBitmap(width, height));
    EXPECT_EQ(dib.GetWidth(), width);
    EXPECT_EQ(dib.GetHeight(), height);
    EXPECT_EQ(dib.GetStride(), stride);
    EXPECT_EQ(dib.GetBits(), nullptr);
}

} // namespace

TEST(CVskDIBCreate, CreateBitmapFailureKeepsTheRecordedSize) {
    CVskDIB dib(2, 2);
    ExpectFailedCreation(dib, 65536, 65536, 196608);
    // The object is usable again after a successful creation.
    EXPECT_TRUE(dib.CreateBitmap(3, 1));
    EXPECT_NE(dib.GetBits(), nullptr);
}

TEST(CVskDIBCreate, SizeTheSystemCannotMapFailsAsCreateBitmapFailure) {
    // 98,304-byte rows x 21,000 = 1.92 GiB: below the 2 GiB the bitmap
    // accepts, more than a 32-bit process has free in one piece, so the
    // system's CreateDIBSection itself fails.
    CVskDIB dib(2, 2);
    ExpectFailedCreation(dib, 32767, 21000, 98304);
    // The memory context made for the section is kept, as on success.
    EXPECT_EQ(GetObjectType(static_cast<HDC>(dib.GetDC())), DWORD(OBJ_MEMDC));
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB huge(32767, 21000); }), "CVskDIB::CVskDIB()");
}

TEST(CVskDIBCreate, CreateBitmapRejectsNonPositiveSizesWithoutABitmap) {
    CVskDIB dib(2, 2);
    EXPECT_FALSE(dib.CreateBitmap(4, -3));
    EXPECT_EQ(dib.GetBits(), nullptr);
    EXPECT_EQ(dib.GetHeight(), -3);
    EXPECT_FALSE(dib.CreateBitmap(0, 3));
    EXPECT_EQ(dib.GetBits(), nullptr);
}

TEST(CVskDIBCreate, SizeRejectedBeforeThePixelMemoryStillLeavesTheMemoryContext) {
    // The memory context is made before the pixel memory, so a size the
    // bitmap refuses itself leaves one, as a size the system refuses does.
    const struct {
        int width;
        int height;
    } sizes[] = {{0, 3}, {4, -3}, {-1, -1}, {32767, 32767}, {715827882, 1}};
    for (const auto& size : sizes) {
        SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
        CVskDIB dib(2, 2);
        void* old = dib.GetDC();
        EXPECT_FALSE(dib.CreateBitmap(size.width, size.height));
        EXPECT_EQ(dib.GetBits(), nullptr);
        ASSERT_NE(dib.GetDC(), nullptr);
        EXPECT_EQ(GetObjectType(static_cast<HDC>(dib.GetDC())), DWORD(OBJ_MEMDC));
        if (dib.GetDC() != old) {
            EXPECT_EQ(GetObjectType(static_cast<HDC>(old)), 0u) << "the old context was not deleted";
        }
    }
}

TEST(CVskDIBCreate, MemoryContextOfARejectedSizeIsDeletedByTheNextCreation) {
    CVskDIB dib(2, 2);
    ASSERT_FALSE(dib.CreateBitmap(0, 0));
    void* rejected = dib.GetDC();
    ASSERT_EQ(GetObjectType(static_cast<HDC>(rejected)), DWORD(OBJ_MEMDC));
    ASSERT_TRUE(dib.CreateBitmap(2, 2));
    EXPECT_EQ(GetObjectType(static_cast<HDC>(rejected)), 0u);
}

TEST(CVskDIBCreate, DestroyDropsThePixelsButKeepsTheHandleValues) {
    CVskDIB dib(2, 2);
    void* dc = dib.GetDC();
    dib.Destroy();
    EXPECT_EQ(dib.GetBits(), nullptr);
    EXPECT_EQ(dib.GetDC(), dc);
    // The context was deleted.
    EXPECT_EQ(GetObjectType(static_cast<HDC>(dc)), 0u);
    // Creating again works on the destroyed object.
    EXPECT_TRUE(dib.CreateBitmap(2, 2));
    EXPECT_NE(dib.GetBits(), nullptr);
}

TEST(CVskDIBCreate, ClearMemberForgetsWithoutReleasing) {
    CVskDIB dib(2, 2);
    HDC dc = static_cast<HDC>(dib.GetDC());
    dib.ClearMember();
    EXPECT_EQ(dib.GetBits(), nullptr);
    EXPECT_EQ(dib.GetDC(), nullptr);
    EXPECT_EQ(dib.GetWidth(), 2);
    // Still alive: the object no longer owns it.
    EXPECT_EQ(GetObjectType(dc), DWORD(OBJ_MEMDC));
    DeleteDC(dc);
}

// ---- copy and assignment ----------------------------------------------------

TEST(CVskDIBCopy, CopyHasTheSamePixelsInItsOwnMemory) {
    CVskDIB a(6, 5);
    FillPattern(a, 0x11);
    CVskDIB b(a);
    ASSERT_EQ(b.GetWidth(), 6);
    ASSERT_EQ(b.GetHeight(), 5);
    EXPECT_NE(b.GetBits(), a.GetBits());
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 6; ++x) {
            EXPECT_EQ(PixelText(b, x, y), PixelText(a, x, y));
        }
    }
    SetPixel24(a, 0, 0, 9, 9, 9);
    EXPECT_EQ(PixelText(b, 0, 0), Hex(0, 0, 0x11));
}

TEST(CVskDIBCopy, AssignmentResizesToTheSource) {
    CVskDIB src(7, 3);
    FillPattern(src, 0x22);
    CVskDIB dest(2, 9);
    dest = src;
    EXPECT_EQ(dest.GetWidth(), 7);
    EXPECT_EQ(dest.GetHeight(), 3);
    EXPECT_EQ(dest.GetStride(), 24);
    EXPECT_EQ(PixelText(dest, 6, 2), Hex(6, 2, 0x22));
    CVskDIB bigger(40, 30);
    FillPattern(bigger, 0x33);
    dest = bigger;
    EXPECT_EQ(dest.GetWidth(), 40);
    EXPECT_EQ(dest.GetHeight(), 30);
    EXPECT_EQ(PixelText(dest, 39, 29), Hex(39, 29, 0x33));
}

TEST(CVskDIBCopy, SelfAssignmentKeepsEverything) {
    CVskDIB a(3, 3);
    FillPattern(a, 0x44);
    unsigned char* bits = a.GetBits();
    CVskDIB& same = a;
    a = same;
    EXPECT_EQ(a.GetBits(), bits);
    EXPECT_EQ(PixelText(a, 2, 2), Hex(2, 2, 0x44));
}

// ---- row copies -------------------------------------------------------------

TEST(CVskDIBBlt, NegativeLeftMovesTheDestinationButNotTheSource) {
    // The source rows are read from x -2: the last two pixels' worth of bytes
    // before each row, i.e. the end of the row above (so the first row copied
    // is row 1 here; row 0 would read before the pixel memory).
    CVskDIB src(10, 10);
    FillPattern(src, 0xA0);
    CVskDIB dest(20, 20);
    dest.Blt(&src, -2, 1, 9, 9, 5, 5);
    // Destination origin moved to x 3; 12 pixels per row; rows 5 to 13.
    // Bytes 26..31 of source row 0: red of pixel 8, pixel 9, two padding bytes.
    EXPECT_EQ(PixelText(dest, 3, 5), Hex(0xA0, 9, 0));
    EXPECT_EQ(PixelText(dest, 4, 5), Hex(0xA0, 0, 0));
    EXPECT_EQ(PixelText(dest, 5, 5), Hex(0, 1, 0xA0));
    EXPECT_EQ(PixelText(dest, 14, 5), Hex(9, 1, 0xA0));
    EXPECT_EQ(PixelText(dest, 14, 13), Hex(9, 9, 0xA0));
    EXPECT_EQ(PixelText(dest, 5, 13), Hex(0, 9, 0xA0));
    // Untouched around it.
    EXPECT_EQ(PixelText(dest, 2, 5), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 15, 5), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 5, 4), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 5, 14), Hex(0, 0, 0));
}

TEST(CVskDIBBlt, TenByTenIntoFourByFourCopiesTheTopLeftBand) {
    CVskDIB src(10, 10);
    FillPattern(src, 0xB0);
    CVskDIB dest(4, 4);
    dest.Blt(0, 0, &src);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(PixelText(dest, x, y), Hex(x, y, 0xB0)) << x << "," << y;
        }
    }
}

TEST(CVskDIBBlt, WholeSourceAtAnOffset) {
    CVskDIB src(3, 2);
    FillPattern(src, 0xC0);
    CVskDIB dest(8, 8);
    dest.Blt(4, 5, &src);
    EXPECT_EQ(PixelText(dest, 4, 5), Hex(0, 0, 0xC0));
    EXPECT_EQ(PixelText(dest, 6, 6), Hex(2, 1, 0xC0));
    EXPECT_EQ(PixelText(dest, 7, 6), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 4, 7), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 3, 5), Hex(0, 0, 0));
}

TEST(CVskDIBBlt, RightAndBottomAreClampedToTheDestinationSize) {
    CVskDIB src(10, 10);
    FillPattern(src, 0xD0);
    CVskDIB dest(6, 6);
    dest.Blt(&src, 2, 2, 9, 9, 0, 0);
    // right and bottom become 5: 4 columns (x 2..5) of rows 2..5.
    EXPECT_EQ(PixelText(dest, 0, 0), Hex(2, 2, 0xD0));
    EXPECT_EQ(PixelText(dest, 3, 3), Hex(5, 5, 0xD0));
    EXPECT_EQ(PixelText(dest, 4, 0), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 0, 4), Hex(0, 0, 0));
}

TEST(CVskDIBBlt, RowLengthIsClampedAtTheDestinationRightEdge) {
    CVskDIB src(8, 8);
    FillPattern(src, 0xE0);
    CVskDIB dest(8, 8);
    dest.Blt(&src, 0, 0, 7, 7, 5, 0);
    for (int y = 0; y < 8; ++y) {
        EXPECT_EQ(PixelText(dest, 4, y), Hex(0, 0, 0));
        EXPECT_EQ(PixelText(dest, 5, y), Hex(0, y, 0xE0));
        EXPECT_EQ(PixelText(dest, 7, y), Hex(2, y, 0xE0));
    }
    // The padding after the last pixel is not written (stride 24, no padding
    // for width 8), and the next row starts unchanged: checked by row 1 above.
}

TEST(CVskDIBBlt, RowLengthBelowOneCopiesNothing) {
    CVskDIB src(8, 8);
    FillPattern(src, 0xF0);
    CVskDIB dest(8, 8);
    const std::string before(reinterpret_cast<const char*>(dest.GetBits()), 24 * 8);
    dest.Blt(&src, 0, 0, 7, 7, 8, 0);  // count 0
    dest.Blt(&src, 5, 0, 2, 7, 0, 0);  // right < left
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(dest.GetBits()), 24 * 8), before);
}

TEST(CVskDIBBlt, SubRectangleKeepsTheSourceCorner) {
    CVskDIB src(10, 10);
    FillPattern(src, 0x10);
    CVskDIB dest(10, 10);
    dest.Blt(&src, 3, 4, 5, 6, 1, 2);
    EXPECT_EQ(PixelText(dest, 1, 2), Hex(3, 4, 0x10));
    EXPECT_EQ(PixelText(dest, 3, 4), Hex(5, 6, 0x10));
    EXPECT_EQ(PixelText(dest, 4, 2), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 1, 5), Hex(0, 0, 0));
}
