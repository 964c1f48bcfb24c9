#include <gtest/gtest.h>

#include <vector>

#include "comu/Communicator.h"
#include "mat/Partitioner.h"

namespace {

using velmo::PartitionerT;

template <class G>
PartitionerT<G, int> makePartitioner(G globalSize, int numParts) {
  PartitionerT<G, int> p;
  p.createForParts(globalSize, numParts);
  return p;
}

// Every index of every part must map back to that part and its place in it.
template <class G>
void expectLookupInvertsRanges(const PartitionerT<G, int>& p) {
  G next = 0;
  for (int part = 0; part < p.getNumParts(); ++part) {
    ASSERT_EQ(p.getPartBegin(part), next) << "part " << part;
    for (int local = 0; local < p.getPartSize(part); ++local) {
      int place = -1;
      EXPECT_EQ(p.getOwner(next + local, &place), part) << "index " << next + local;
      EXPECT_EQ(place, local) << "index " << next + local;
    }
    next += p.getPartSize(part);
  }
  EXPECT_EQ(next, p.getGlobalSize());
}

template <class G>
class PartitionerTyped : public ::testing::Test {};
using GlobalIndexTypes = ::testing::Types<int, long>;
TYPED_TEST_SUITE(PartitionerTyped, GlobalIndexTypes);

TYPED_TEST(PartitionerTyped, UnevenSplitGivesTheFirstPartsOneMore) {
  auto p = makePartitioner<TypeParam>(10, 3);
  EXPECT_EQ(p.getPartSize(0), 4);
  EXPECT_EQ(p.getPartSize(1), 3);
  EXPECT_EQ(p.getPartSize(2), 3);
  EXPECT_EQ(p.getPartBegin(2), 7);
  int local = -1;
  EXPECT_EQ(p.getOwner(5, &local), 1);
  EXPECT_EQ(local, 1);
  expectLookupInvertsRanges(p);
}

// Both sides of the first-branch boundary: the last index of part rem - 1 and the first of
// part rem.
TYPED_TEST(PartitionerTyped, LookupBranchesMeetAtTheLongParts) {
  auto p = makePartitioner<TypeParam>(11, 3);  // div 3, rem 2: parts of 4, 4, 3
  int local = -1;
  EXPECT_EQ(p.getOwner(7, &local), 1);
  EXPECT_EQ(local, 3);
  EXPECT_EQ(p.getOwner(8, &local), 2);
  EXPECT_EQ(local, 0);
  EXPECT_EQ(p.getOwner(10, nullptr), 2);
  expectLookupInvertsRanges(p);
}

TYPED_TEST(PartitionerTyped, EvenAndNarrowSplits) {
  expectLookupInvertsRanges(makePartitioner<TypeParam>(12, 4));  // rem 0: second branch only

  auto narrow = makePartitioner<TypeParam>(2, 5);  // div 0: first branch only
  EXPECT_EQ(narrow.getPartSize(1), 1);
  EXPECT_EQ(narrow.getPartSize(2), 0);
  EXPECT_EQ(narrow.getPartBegin(4), 2);
  expectLookupInvertsRanges(narrow);

  auto single = makePartitioner<TypeParam>(0, 1);
  EXPECT_EQ(single.getPartSize(0), 0);
  EXPECT_EQ(single.getPartBegin(0), 0);
}

// Past the end with a non-zero quotient the owner is out of the parts: "not mine".
TYPED_TEST(PartitionerTyped, IndexPastTheEndHasNoOwnerPart) {
  auto p = makePartitioner<TypeParam>(10, 3);
  EXPECT_GE(p.getOwner(10, nullptr), 3);
}

TYPED_TEST(PartitionerTyped, OwnershipRangeStoresOnlyWhatIsAskedFor) {
  auto p = makePartitioner<TypeParam>(10, 3);
  TypeParam begin = -1, end = -1;
  p.getOwnerShipRange(1, &begin, &end);
  EXPECT_EQ(begin, 4);
  EXPECT_EQ(end, 7);
  begin = end = -1;
  p.getOwnerShipRange(2, nullptr, &end);
  EXPECT_EQ(end, 10);
  p.getOwnerShipRange(2, &begin, nullptr);
  EXPECT_EQ(begin, 7);
  EXPECT_EQ(end, 10);
}

TYPED_TEST(PartitionerTyped, EqualityComparesSizeAndPartsOnly) {
  auto a = makePartitioner<TypeParam>(10, 3);
  auto b = makePartitioner<TypeParam>(10, 3);
  EXPECT_TRUE(a == b);  // separate implementations
  EXPECT_FALSE(a == makePartitioner<TypeParam>(11, 3));
  EXPECT_FALSE(a == makePartitioner<TypeParam>(10, 2));
  EXPECT_TRUE(a != makePartitioner<TypeParam>(10, 2));
}

TYPED_TEST(PartitionerTyped, CreateReplacesOnlyItsOwnHandle) {
  PartitionerT<TypeParam, int> fresh;
  EXPECT_EQ(fresh.getNumParts(), 0);
  EXPECT_EQ(fresh.getGlobalSize(), 0);

  auto a = makePartitioner<TypeParam>(10, 3);
  auto copy = a;
  a.create(6, velmo::comu::kCommSelf);
  EXPECT_EQ(a.getNumParts(), 1);
  EXPECT_EQ(a.getGlobalSize(), 6);
  EXPECT_EQ(a.getPartSize(0), 6);
  EXPECT_EQ(copy.getNumParts(), 3);
  EXPECT_EQ(copy.getGlobalSize(), 10);
}

// The quotient is narrowed to 32 bits, the index itself stays wide.
TEST(PartitionerLong, WideIndicesWithA32BitQuotient) {
  auto p = makePartitioner<long>(3000000001L, 2);  // div 1500000000, rem 1
  EXPECT_EQ(p.getPartSize(0), 1500000001);
  EXPECT_EQ(p.getPartBegin(1), 1500000001L);
  int local = -1;
  EXPECT_EQ(p.getOwner(3000000000L, &local), 1);
  EXPECT_EQ(local, 1499999999);
  EXPECT_EQ(p.getOwner(1500000000L, &local), 0);
  EXPECT_EQ(local, 1500000000);
}

}  // namespace
