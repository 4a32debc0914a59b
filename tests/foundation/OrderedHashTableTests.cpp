#include <orv/OrvOrderedHashTable.h>

#include <gtest/gtest.h>

#include <string>

namespace {

typedef orv::OrderedHashTable<orv::String, int, orv::EqualFunc<orv::String>, orv::HashFunc<orv::String>> Table;

orv::String keyNumber(int i) {
    return orv::String(("HDAUDIO\\FUNC_01&VEN_10EC&DEV_0" + std::to_string(i)).c_str());
}

TEST(OrderedHashTableTest, WalksInInsertionOrderWellPastThirtyTwoKeys) {
    Table table;
    int const count = 200;
    // Inserted in an order unrelated to the keys' hashes or their text order.
    for (int i = 0; i < count; ++i) {
        int const scrambled = (i * 37) % count;
        EXPECT_TRUE(table.insert(keyNumber(scrambled), scrambled));
    }
    ASSERT_EQ(unsigned(count), table.size());
    for (int i = 0; i < count; ++i) {
        int const scrambled = (i * 37) % count;
        EXPECT_EQ(scrambled, table[unsigned(i)]);
        EXPECT_TRUE(table.keys()[i] == keyNumber(scrambled));
        EXPECT_EQ(scrambled, table[keyNumber(scrambled)]);
    }
    EXPECT_EQ(table.size(), table.values().size());
}

TEST(OrderedHashTableTest, DuplicateKeyIsRefusedAndKeepsTheFirstValue) {
    Table table;
    EXPECT_TRUE(table.insert("PCI\\VEN_8086", 1));
    EXPECT_FALSE(table.insert("PCI\\VEN_8086", 2));
    EXPECT_EQ(1u, table.size());
    EXPECT_EQ(1u, table.values().size());
    EXPECT_EQ(1, table["PCI\\VEN_8086"]);

    table["PCI\\VEN_8086"] = 5;
    EXPECT_EQ(5, table[0u]);
}

TEST(OrderedHashTableTest, KeysDifferingOnlyInCaseAreDifferentKeys) {
    Table table;
    EXPECT_TRUE(table.insert("USB\\VID_046D", 1));
    EXPECT_TRUE(table.insert("usb\\vid_046d", 2));
    EXPECT_EQ(2u, table.size());
    EXPECT_EQ(1, table["USB\\VID_046D"]);
    EXPECT_EQ(2, table["usb\\vid_046d"]);
    EXPECT_FALSE(table.contains("Usb\\Vid_046d"));
}

TEST(OrderedHashTableTest, MissingKeyThrowsHashKeyMissingWithTheKey) {
    Table table;
    EXPECT_EQ(0u, table.size());
    EXPECT_FALSE(table.contains("anything"));
    try {
        table["anything"];
        FAIL() << "no exception for a missing key";
    } catch (orv::HashKeyMissing const& missing) {
        EXPECT_TRUE(missing.key() == orv::String("anything"));
    }

    table.insert("present", 1);
    EXPECT_THROW(table["absent"], orv::HashKeyMissing);
    EXPECT_THROW(table["absent"], orv::Exception);
}

TEST(OrderedHashTableTest, RepLooksKeysUpThroughTheBucketsEqualityTest) {
    // Two keys filed under one hash value must still be told apart.
    typedef orv::_Bucket<orv::String, unsigned int, orv::EqualFunc<orv::String>> Bucket;
    orv::_HashTableRep rep(32);
    orv::String const first("first");
    orv::String const second("second");
    EXPECT_TRUE(rep.insert(7, new Bucket(first, 0), &first));
    EXPECT_TRUE(rep.insert(7, new Bucket(second, 1), &second));
    EXPECT_FALSE(rep.insert(7, new Bucket(first, 2), &first));

    orv::_BucketBase* found = rep.lookup(7, &second);
    ASSERT_NE(nullptr, found);
    EXPECT_EQ(1u, static_cast<Bucket*>(found)->value());
    orv::String const third("third");
    EXPECT_EQ(nullptr, rep.lookup(7, &third));
    EXPECT_EQ(nullptr, rep.lookup(8, &first));
}

}  // namespace
