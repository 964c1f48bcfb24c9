#include <utility>

#include "TestHelpers.h"

namespace partitioner_test {

using velmo::PartitionerT;
using velmo::test::partsOf;

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

template <class P>
class PartitionerTyped : public ::testing::Test {};
TYPED_TEST_SUITE(PartitionerTyped, velmo::test::AllTypes);

TYPED_TEST(PartitionerTyped, FirstPartsHoldOneMoreAndLookupInvertsTheRanges) {
  using G = typename TypeParam::Index;
  auto p = partsOf<G>(11, 3);  // div 3, rem 2: parts of 4, 4, 3
  EXPECT_EQ(p.getPartSize(1), 4);
  EXPECT_EQ(p.getPartSize(2), 3);
  EXPECT_GE(p.getOwner(11, nullptr), 3);  // past the end: "not mine"
  expectLookupInvertsRanges(p);

  expectLookupInvertsRanges(partsOf<G>(12, 4));  // rem 0: second branch only
  auto narrow = partsOf<G>(2, 5);                // div 0: first branch only
  EXPECT_EQ(narrow.getPartSize(1), 1);
  EXPECT_EQ(narrow.getPartSize(2), 0);
  expectLookupInvertsRanges(narrow);
  EXPECT_EQ(partsOf<G>(0, 1).getPartSize(0), 0);
}

TYPED_TEST(PartitionerTyped, RangesEqualityAndHandles) {
  using G = typename TypeParam::Index;
  auto p = partsOf<G>(10, 3);
  G begin = -1, end = -1;
  p.getOwnerShipRange(1, &begin, &end);
  EXPECT_EQ(std::make_pair(begin, end), std::make_pair(G(4), G(7)));
  p.getOwnerShipRange(2, nullptr, &end);  // stores only what is asked for
  EXPECT_EQ(std::make_pair(begin, end), std::make_pair(G(4), G(10)));
  EXPECT_TRUE(p == partsOf<G>(10, 3));  // separate implementations
  EXPECT_TRUE(p != partsOf<G>(10, 2));
  auto copy = p;
  p.create(6, velmo::comu::kCommSelf);
  EXPECT_EQ(copy.getGlobalSize(), 10);  // create replaces only its own handle
}

// The quotient is narrowed to 32 bits, the index itself stays wide.
TEST(PartitionerLong, WideIndicesWithA32BitQuotient) {
  auto p = partsOf<long>(3000000001L, 2);  // div 1500000000, rem 1
  EXPECT_EQ(p.getPartBegin(1), 1500000001L);
  int local = -1;
  EXPECT_EQ(p.getOwner(3000000000L, &local), 1);
  EXPECT_EQ(local, 1499999999);
  EXPECT_EQ(p.getOwner(1500000000L, &local), 0);
  EXPECT_EQ(local, 1500000000);
}

}  // namespace partitioner_test
