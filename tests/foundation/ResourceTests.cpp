#include <orv/OrvResource.h>

#include <gtest/gtest.h>

#include <objbase.h>

#include <thread>

namespace {

// Counts its own destruction, to see when a storage disposes of it.
struct Tracked {
    explicit Tracked(int* disposals) : m_disposals(disposals) {}
    virtual ~Tracked() { ++*m_disposals; }
    int* m_disposals;
};

// A COM object that only counts: a non-owning view must neither AddRef nor
// Release it.
class CountingUnknown : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++addRefs; }
    ULONG STDMETHODCALLTYPE Release() override {
        ++releases;
        return 1;
    }
    ULONG addRefs = 0;
    ULONG releases = 0;
};

typedef orv::SharedResource<orv::PointerStorage<Tracked, 0, 3>, 0> SharedTracked;
typedef orv::CopiedResource<orv::PointerStorage<Tracked, 0, 3>> OwnedTracked;
typedef orv::CopiedResource<orv::PointerStorage<CountingUnknown, 3, 2>> UnknownView;

TEST(SharedResourceTest, TheLastReleaseDisposesAndAnEmptyShareReleasesHarmlessly) {
    int disposals = 0;
    SharedTracked first(new Tracked(&disposals));
    SharedTracked second(first);
    EXPECT_EQ(2u, first.referenceCount());
    EXPECT_EQ(first.get(), second.get());

    first.release();
    EXPECT_EQ(0, disposals);
    EXPECT_TRUE(first.isNil());
    EXPECT_EQ(0u, first.referenceCount());
    first.release();
    EXPECT_EQ(1u, second.referenceCount());

    second.release();
    EXPECT_EQ(1, disposals);
    second.release();
    EXPECT_EQ(1, disposals);
}

TEST(SharedResourceTest, AssignmentReleasesTheOldShareAndMoveTakesOverWithoutCounting) {
    int disposalsA = 0;
    int disposalsB = 0;
    SharedTracked a(new Tracked(&disposalsA));
    SharedTracked b(new Tracked(&disposalsB));
    SharedTracked alsoB(b);

    b = a;
    EXPECT_EQ(0, disposalsB) << "alsoB still holds the second resource";
    EXPECT_EQ(2u, a.referenceCount());
    b = a;
    EXPECT_EQ(2u, a.referenceCount()) << "assigning a share of the same manager changes nothing";

    alsoB = SharedTracked();
    EXPECT_EQ(1, disposalsB);

    SharedTracked moved;
    moved = std::move(b);
    EXPECT_TRUE(b.isNil());
    EXPECT_EQ(0u, b.referenceCount());
    EXPECT_EQ(2u, moved.referenceCount());

    moved = std::move(moved);
    EXPECT_EQ(2u, moved.referenceCount());
    EXPECT_FALSE(moved.isNil());

    a.release();
    moved.release();
    EXPECT_EQ(1, disposalsA);
}

TEST(SharedResourceTest, LockedCountStaysExactUnderTwoThreads) {
    typedef orv::SharedResource<orv::ComTaskMemStorage<unsigned short>, 1> SharedBuffer;
    SharedBuffer buffer(static_cast<unsigned short*>(CoTaskMemAlloc(64)));

    auto churn = [&buffer] {
        for (int i = 0; i < 20000; ++i) {
            SharedBuffer copy(buffer);
            SharedBuffer another;
            another = copy;
            copy.release();
        }
    };
    std::thread one(churn);
    std::thread two(churn);
    one.join();
    two.join();
    EXPECT_EQ(1u, buffer.referenceCount());
}

TEST(CopiedResourceTest, NonOwningViewNeverTouchesItsTarget) {
    CountingUnknown target;
    {
        UnknownView view(&target);
        UnknownView copy(view);
        UnknownView assigned;
        assigned = copy;
        EXPECT_EQ(&target, view.get());
        EXPECT_EQ(&target, copy.get());
        EXPECT_EQ(&target, assigned.get());
        assigned.release();
        EXPECT_TRUE(assigned.isNil());
    }
    EXPECT_EQ(0u, target.addRefs);
    EXPECT_EQ(0u, target.releases);
}

TEST(CopiedResourceTest, OwningStorageTransfersOnCopyEvenFromConstAndDisposesOnce) {
    int disposals = 0;
    {
        OwnedTracked const original(new Tracked(&disposals));
        OwnedTracked taken(original);
        EXPECT_TRUE(original.isNil());
        EXPECT_FALSE(taken.isNil());

        OwnedTracked assigned;
        assigned = taken;
        EXPECT_TRUE(taken.isNil());
        EXPECT_EQ(0, disposals);
    }
    EXPECT_EQ(1, disposals);

    OwnedTracked replaced(new Tracked(&disposals));
    replaced = OwnedTracked(new Tracked(&disposals));
    EXPECT_EQ(2, disposals) << "assignment disposes of what was held before";
}

}  // namespace
