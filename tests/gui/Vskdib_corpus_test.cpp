// Vskdib_corpus_test.cpp - CVskDIB against the shared BMP corpus and its manifest.
#include "tests/gui/VskdibTestSupport.h"

using namespace vskdibtest;

TEST(CVskDIBCorpus, EveryManifestFileLoadsWithItsHashOrFails) {
    VSK_REQUIRE_CORPUS();
    std::vector<CManifestRow> rows;
    ASSERT_NO_THROW(rows = ReadManifest()) << "corpus expected at " << CorpusDir();
    ASSERT_GT(rows.size(), 50u);
    int loads = 0, fails = 0;
    for (const CManifestRow& row : rows) {
        SCOPED_TRACE(row.path);
        const std::string path = CorpusFile(row.path);
        if (row.outcome == "load") {
            ++loads;
            CVskDIB dib;
            ASSERT_NO_THROW(dib.LoadFromFile(path.c_str()));
            EXPECT_EQ(dib.GetWidth(), row.width);
            EXPECT_EQ(dib.GetHeight(), row.height);
            EXPECT_EQ(RowsSha256(dib), row.sha256);
        } else {
            ASSERT_EQ(row.outcome, "fail");
            ++fails;
            EXPECT_EQ(ErrorOf<std::runtime_error>([&] { CVskDIB dib(path.c_str()); }), kLoadError);
        }
    }
    EXPECT_GT(loads, 5);
    EXPECT_GT(fails, 50);
}

TEST(CVskDIBCorpus, Sha256IsTheStandardDigest) {
    EXPECT_EQ(Sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Sha256(std::string(1000, 'a')),
              "41edece42d63e8d9bf515a9ba6932e1c20cbc9f5a5d134645adb5db1b9737ea3");
}

TEST(CVskDIBCorpus, ExtraOneByOneHasTheDocumentedColour) {
    VSK_REQUIRE_CORPUS();
    CVskDIB dib(CorpusFile("extra/rgb24-1x1.bmp").c_str());
    EXPECT_EQ(PixelText(dib, 0, 0), Hex(0x56, 0x34, 0x12));
}
