// Vskrefcnt_test.cpp - vsk::CVskRefCnt<T>.
#include "foundation/Vskrefcnt.h"
#include "foundation/Vskstr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>

namespace {

int g_stringsDeleted = 0;

class CCountedStr : public vskstr::CVskStr {
public:
    using CVskStr::CVskStr;
    ~CCountedStr() override { ++g_stringsDeleted; }
};

using StrOwner = vsk::CVskRefCnt<vskstr::CVskStr*>;

TEST(CVskRefCnt, ThreeCopiesDestroyedInAnyOrderDeleteTheStringOnceAtTheLast) {
    std::array<int, 3> order = {0, 1, 2};
    do {
        SCOPED_TRACE(testing::Message() << order[0] << order[1] << order[2]);
        g_stringsDeleted = 0;
        std::array<std::unique_ptr<StrOwner>, 3> owners;
        owners[0].reset(new StrOwner(new CCountedStr("text")));
        owners[1].reset(new StrOwner(*owners[0]));
        owners[2].reset(new StrOwner(*owners[1]));
        EXPECT_EQ(3, owners[0]->GetCount());
        EXPECT_EQ(owners[0]->Get(), owners[2]->Get());
        owners[order[0]].reset();
        owners[order[1]].reset();
        EXPECT_EQ(0, g_stringsDeleted);
        EXPECT_EQ(1, owners[order[2]]->GetCount());
        owners[order[2]].reset();
        EXPECT_EQ(1, g_stringsDeleted);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(CVskRefCnt, NullPointerFreesOnlyItsRecord) {
    g_stringsDeleted = 0;
    {
        StrOwner empty(nullptr);
        StrOwner copy(empty);
        EXPECT_EQ(nullptr, copy.Get());
        EXPECT_EQ(2, copy.GetCount());
    }
    EXPECT_EQ(0, g_stringsDeleted);
}

TEST(CVskRefCnt, AssignmentSharesRecordLikeCopy) {
    g_stringsDeleted = 0;
    {
        StrOwner a(new CCountedStr("a"));
        StrOwner b(new CCountedStr("b"));
        b = a; // b's string has no other owner: deleted now
        EXPECT_EQ(1, g_stringsDeleted);
        EXPECT_EQ(2, a.GetCount());
        EXPECT_STREQ("a", b->c_str());
        b = b;
        EXPECT_EQ(2, a.GetCount());
    }
    EXPECT_EQ(2, g_stringsDeleted);
}

} // namespace
