#include <gtest/gtest.h>

#include <utility>

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

TYPED_TEST(PartitionerTyped, FirstPartsHoldOneMoreAndLookupInvertsTheRanges) {
  auto p = makePartitioner<TypeParam>(11, 3);  // div 3, rem 2: parts of 4, 4, 3
  EXPECT_EQ(p.getPartSize(1), 4);
  EXPECT_EQ(p.getPartSize(2), 3);
  EXPECT_EQ(p.getPartBegin(2), 8);
  // Both sides of the first-branch boundary: the last index of part rem - 1 and the first of
  // part rem.
  int local = -1;
  EXPECT_EQ(p.getOwner(7, &local), 1);
  EXPECT_EQ(local, 3);
  EXPECT_EQ(p.getOwner(8, &local), 2);
  EXPECT_EQ(local, 0);
  EXPECT_EQ(p.getOwner(10, nullptr), 2);
  EXPECT_GE(p.getOwner(11, nullptr), 3);  // past the end: "not mine"
  expectLookupInvertsRanges(p);

  expectLookupInvertsRanges(makePartitioner<TypeParam>(12, 4));  // rem 0: second branch only
  auto narrow = makePartitioner<TypeParam>(2, 5);                // div 0: first branch only
  EXPECT_EQ(narrow.getPartSize(1), 1);
  EXPECT_EQ(narrow.getPartSize(2), 0);
  EXPECT_EQ(narrow.getPartBegin(4), 2);
  expectLookupInvertsRanges(narrow);
  EXPECT_EQ(makePartitioner<TypeParam>(0, 1).getPartSize(0), 0);
}

TYPED_TEST(PartitionerTyped, RangesEqualityAndHandles) {
  auto p = makePartitioner<TypeParam>(10, 3);
  TypeParam begin = -1, end = -1;
  p.getOwnerShipRange(1, &begin, &end);
  EXPECT_EQ(std::make_pair(begin, end), std::make_pair(TypeParam(4), TypeParam(7)));
  p.getOwnerShipRange(2, nullptr, &end);  // stores only what is asked for
  EXPECT_EQ(std::make_pair(begin, end), std::make_pair(TypeParam(4), TypeParam(10)));
  EXPECT_TRUE(p == makePartitioner<TypeParam>(10, 3));  // separate implementations
  EXPECT_TRUE(p != makePartitioner<TypeParam>(10, 2));
  auto copy = p;
  p.create(6, velmo::comu::kCommSelf);
  EXPECT_EQ(copy.getGlobalSize(), 10);  // create replaces only its own handle
}

// The quotient is narrowed to 32 bits, the index itself stays wide.
TEST(PartitionerLong, WideIndicesWithA32BitQuotient) {
  auto p = makePartitioner<long>(3000000001L, 2);  // div 1500000000, rem 1
  EXPECT_EQ(p.getPartBegin(1), 1500000001L);
  int local = -1;
  EXPECT_EQ(p.getOwner(3000000000L, &local), 1);
  EXPECT_EQ(local, 1499999999);
  EXPECT_EQ(p.getOwner(1500000000L, &local), 0);
  EXPECT_EQ(local, 1500000000);
}

}  // namespace
