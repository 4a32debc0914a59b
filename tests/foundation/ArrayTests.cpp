#include <orv/OrvArray.h>
#include <orv/OrvException.h>
#include <orv/OrvString.h>

#include <gtest/gtest.h>

namespace {

// An element that counts how it is made and ended.
struct Probe {
    static int copies;
    static int destructions;
    static int live;
    static void reset() { copies = destructions = live = 0; }

    explicit Probe(int v) : value(v) { ++live; }
    Probe(Probe const& other) : value(other.value) {
        ++copies;
        ++live;
    }
    Probe& operator=(Probe const&) = default;
    ~Probe() {
        ++destructions;
        --live;
    }
    bool operator==(Probe const& other) const { return value == other.value; }

    int value;
};
int Probe::copies = 0;
int Probe::destructions = 0;
int Probe::live = 0;

orv::Array<Probe> probesUpTo(int count) {
    orv::Array<Probe> array;
    for (int i = 0; i < count; ++i) {
        array.append(Probe(i));
    }
    return array;
}

std::vector<int> valuesOf(orv::Array<Probe> const& array) {
    std::vector<int> values;
    for (Probe const& probe : array) {
        values.push_back(probe.value);
    }
    return values;
}

class ArrayTest : public testing::Test {
protected:
    void SetUp() override { Probe::reset(); }
    void TearDown() override { EXPECT_EQ(0, Probe::live) << "an element was leaked or destroyed twice"; }
};

TEST_F(ArrayTest, GrowsFromEightByDoublingAndCopiesEveryElementOnGrowth) {
    orv::Array<Probe> array;
    EXPECT_EQ(0u, array.size());
    EXPECT_EQ(8u, array.capacity());

    for (int i = 0; i < 8; ++i) {
        array.append(Probe(i));
    }
    EXPECT_EQ(8u, array.capacity());
    Probe::reset();
    Probe::live = 8;

    array.append(Probe(8));
    EXPECT_EQ(16u, array.capacity());
    EXPECT_EQ(9u, array.size());
    EXPECT_EQ(9, Probe::copies) << "eight moved over by copying, one appended";
    EXPECT_EQ(8 + 1, Probe::destructions) << "the old block's eight and the temporary";
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8}), valuesOf(array));

    for (int i = 9; i < 33; ++i) {
        array.append(Probe(i));
    }
    EXPECT_EQ(64u, array.capacity());
}

TEST_F(ArrayTest, ClearDestroysEverythingAndGivesCapacityBack) {
    orv::Array<Probe> array = probesUpTo(1024);
    EXPECT_EQ(1024u, array.capacity());
    array.clear();
    EXPECT_EQ(0u, array.size());
    EXPECT_EQ(8u, array.capacity());
    EXPECT_EQ(0, Probe::live);
}

TEST_F(ArrayTest, CopyIsDeepAndKeepsTheSourceCapacity) {
    orv::Array<Probe> source = probesUpTo(9);
    for (int i = 0; i < 6; ++i) {
        source.remove(source.size() - 1);
    }
    ASSERT_EQ(3u, source.size());
    ASSERT_EQ(16u, source.capacity());

    orv::Array<Probe> copy(source);
    EXPECT_EQ(3u, copy.size());
    EXPECT_EQ(16u, copy.capacity());

    copy[0].value = 100;
    copy.append(Probe(3));
    EXPECT_EQ((std::vector<int>{0, 1, 2}), valuesOf(source));
    EXPECT_EQ((std::vector<int>{100, 1, 2, 3}), valuesOf(copy));

    orv::Array<Probe> assigned = probesUpTo(20);
    assigned = source;
    EXPECT_EQ((std::vector<int>{0, 1, 2}), valuesOf(assigned));
    EXPECT_EQ(16u, assigned.capacity());
}

TEST_F(ArrayTest, SelfAssignmentLeavesTheElementsAlone) {
    orv::Array<Probe> array = probesUpTo(5);
    int const copiesBefore = Probe::copies;
    int const destructionsBefore = Probe::destructions;
    orv::Array<Probe>& same = array;
    array = same;
    EXPECT_EQ(copiesBefore, Probe::copies);
    EXPECT_EQ(destructionsBefore, Probe::destructions);
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4}), valuesOf(array));
}

TEST_F(ArrayTest, RemoveClosesTheGapInOrderAndKeepsCapacity) {
    orv::Array<Probe> array = probesUpTo(10);
    array.remove(0);
    array.remove(4);
    array.remove(array.size() - 1);
    EXPECT_EQ((std::vector<int>{1, 2, 3, 4, 6, 7, 8}), valuesOf(array));
    EXPECT_EQ(16u, array.capacity());

    orv::Array<Probe> single = probesUpTo(1);
    single.remove(0);
    EXPECT_EQ(0u, single.size());
}

TEST_F(ArrayTest, RemoveAtSizePassesTheLooseBound) {
    orv::Array<unsigned int> array;
    array.append(1);
    array.append(2);
    array.append(3);
    unsigned long long const assertionsBefore = orv::AssertionFailure::assertionCount();
    array.remove(array.size());
    EXPECT_EQ(assertionsBefore, orv::AssertionFailure::assertionCount());
    EXPECT_EQ(2u, array.size());
    EXPECT_EQ(2u, array[1]);
}

TEST_F(ArrayTest, AppendingAnOwnElementWhileGrowingCopiesItBeforeTheBlockGoes) {
    orv::Array<orv::String> array;
    for (int i = 0; i < 8; ++i) {
        array.append(orv::String("a text long enough to live on the heap, not in the string itself"));
    }
    array.append(array[0]);
    EXPECT_EQ(9u, array.size());
    EXPECT_TRUE(array[8] == array[0]);
}

TEST_F(ArrayTest, ContainsComparesElementsByValue) {
    orv::Array<orv::String> names;
    names.append("Speakers");
    names.append("Line In");
    EXPECT_TRUE(names.contains(orv::String("Line In")));
    EXPECT_FALSE(names.contains(orv::String("line in")));

    orv::Array<unsigned int> ids;
    EXPECT_FALSE(ids.contains(0u));
    ids.append(7u);
    EXPECT_TRUE(ids.contains(7u));
}

}  // namespace
