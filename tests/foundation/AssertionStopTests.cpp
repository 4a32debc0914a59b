// A failed check stops the process with exception code 7 after telling what
// failed. Each of these starts a child process, so they are few.
#include <orv/OrvArray.h>
#include <orv/OrvOrderedHashTable.h>

#include <gtest/gtest.h>

namespace {

typedef orv::OrderedHashTable<orv::String, int, orv::EqualFunc<orv::String>, orv::HashFunc<orv::String>> Table;

TEST(AssertionStopDeathTest, IndexingAtSizeStopsWithCodeSeven) {
    EXPECT_EXIT(
        {
            orv::Array<unsigned int> array;
            array.append(1);
            (void)array[1];
        },
        testing::ExitedWithCode(7), "Assertion failed: index < size\\(\\) in OrvArrayCommon");
}

TEST(AssertionStopDeathTest, RemovingPastTheLooseBoundStops) {
    EXPECT_EXIT(
        {
            orv::Array<unsigned int> array;
            array.append(1);
            array.remove(2);
        },
        testing::ExitedWithCode(7), "lastRemovedIndex <= sz \\+ 1 in OrvArrayImpl");
}

TEST(AssertionStopDeathTest, TablePositionOutOfRangeStopsInTheTable) {
    EXPECT_EXIT(
        {
            Table table;
            table.insert("only", 1);
            (void)table[1u];
        },
        testing::ExitedWithCode(7), "index < size\\(\\) in OrvOrderedHashTable");
}

}  // namespace
