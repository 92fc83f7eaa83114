// Ubaserefcnt_test.cpp - CBaseRefCnt.
#include "foundation/Ubaserefcnt.h"

#include <gtest/gtest.h>

#include <climits>
#include <exception>
#include <typeinfo>

namespace {

class CCounted : public CBaseRefCnt {
public:
    explicit CCounted(int* destroyed) : m_destroyed(destroyed) {}
    ~CCounted() override { ++*m_destroyed; }
    void SetCount(int count) { m_refCount = count; }

private:
    int* m_destroyed;
};

TEST(CBaseRefCnt, StartsWithOneReference) {
    int destroyed = 0;
    CCounted* object = new CCounted(&destroyed);
    EXPECT_EQ(1, object->GetRefCount());
    object->Release();
}

TEST(CBaseRefCnt, ReleasedOnceIsDestroyed) {
    int destroyed = 0;
    CCounted* object = new CCounted(&destroyed);
    object->Release();
    EXPECT_EQ(1, destroyed);
}

TEST(CBaseRefCnt, LivesUntilTheLastRelease) {
    int destroyed = 0;
    CCounted* object = new CCounted(&destroyed);
    object->AddRef();
    EXPECT_EQ(2, object->GetRefCount());
    object->Release();
    EXPECT_EQ(0, destroyed);
    object->Release();
    EXPECT_EQ(1, destroyed);
}

TEST(CBaseRefCnt, AddRefAtTheLargestCountThrowsAndKeepsTheCount) {
    int destroyed = 0;
    CCounted* object = new CCounted(&destroyed);
    object->SetCount(INT_MAX);
    try {
        object->AddRef();
        ADD_FAILURE() << "no exception";
    } catch (const std::exception& e) {
        // A plain std::exception, not one derived from it.
        EXPECT_EQ(typeid(std::exception), typeid(e)) << typeid(e).name();
    }
    EXPECT_EQ(INT_MAX, object->GetRefCount());
    object->SetCount(1);
    object->Release();
    EXPECT_EQ(1, destroyed);
}

TEST(CBaseRefCnt, AddRefBelowTheLargestCountReachesIt) {
    int destroyed = 0;
    CCounted* object = new CCounted(&destroyed);
    object->SetCount(INT_MAX - 1);
    EXPECT_NO_THROW(object->AddRef());
    EXPECT_EQ(INT_MAX, object->GetRefCount());
    object->SetCount(1);
    object->Release();
}

} // namespace
