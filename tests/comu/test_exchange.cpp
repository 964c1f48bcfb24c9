#include <map>
#include <set>
#include <vector>

#include "SparseTestHelpers.h"
#include "comu/Transport.h"
#include "comu/communication_tools.h"
#include "comu/ghost_tools.h"
#include "comu/graph_tools.h"
#include "comu/owner_tools.h"
#include "kernels/AggregateData.h"

namespace exchange_test {

using namespace velmo;
using comu::GraphMap;
using test::kHost;

constexpr int kComm = comu::kCommSelf;

TEST(Transport, SelfMessagesMatchByTagInPostingOrder) {
  int a = 1, b = 2, c = 3;
  int outA = 0, outB = 0, outC[2] = {0, 0};
  std::vector<comu::Request> requests{
      comu::recvBytes(kComm, &outB, 4, 0, 7),  // posted before its send
      comu::sendBytes(kComm, &a, 4, 0, 5),     // same tag as the next send: first in, first matched
      comu::sendBytes(kComm, &b, 4, 0, 7),
      comu::sendBytes(kComm, &c, 4, 0, 5),
      comu::recvBytes(kComm, &outA, 4, 0, 5),
      comu::recvBytes(kComm, outC, 8, 0, 5),   // larger than its send: takes the send's size
  };
  std::vector<comu::Status> statuses;
  comu::waitAll(requests, statuses);
  EXPECT_EQ(outA, 1);
  EXPECT_EQ(outB, 2);
  EXPECT_EQ(outC[0], 3);
  EXPECT_EQ(statuses[5].bytes, 4);
  EXPECT_EQ(statuses[5].tag, 5);

  // A receive that nobody sends to would wait for ever under MPI.
  EXPECT_DEATH(
      {
        int x = 0;
        std::vector<comu::Status> s;
        comu::waitAll({comu::recvBytes(kComm, &x, 4, 0, 9)}, s);
      },
      "a receive with tag 9 has no matching send");
  EXPECT_DEATH(comu::sendBytes(kComm, &a, 4, 1, 0), "only rank 0");
}

TEST(Exchange, OwnSlotIsCopiedOrShared) {
  std::vector<std::vector<int>> send{{4, 5, 6}}, recv;
  comu::sparse_send_recv(kComm, send, recv, false);
  EXPECT_EQ(recv, send);

  // Packed objects are never packed for the own slot: the handle is shared.
  std::vector<CSRMatrixT<double, int>> blocks{test::makeCsr(test::randomCsr<double>(4, 3, 0.5, 1))}, got;
  comu::sparse_send_recv_stream(kComm, blocks, got, nullptr);
  ASSERT_EQ(got.size(), 1u);
  EXPECT_TRUE(got[0].sharesStorageWith(blocks[0]));

  std::vector<MatrixT<AggregateData<int>, int>> records(1), gotRecords;
  records[0].create(2, 1, kHost);
  comu::sparse_send_recv_stream(kComm, records, gotRecords, nullptr);
  EXPECT_TRUE(gotRecords[0].sharesStorageWith(records[0]));
}

TEST(Exchange, ScatterAndGatherRoundTripByValue) {
  const auto h = test::randomCsr<Complex<double>>(5, 4, 0.5, 2);
  CSRMatrixT<Complex<double>, int> mine;
  comu::stlmpi_scatter_stream(kComm, std::vector{test::makeCsr(h)}, mine, 0);
  std::vector<CSRMatrixT<Complex<double>, int>> parts;
  comu::stlmpi_gather_stream(kComm, mine, parts, 0);
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_EQ(test::hostOf(parts[0]).arrays(), h.arrays());

  MatrixT<float> dense = test::denseOf<float>({1, 2, 3, 4, 5, 6}, 3, 2), back;
  comu::stlmpi_scatter_stream(kComm, std::vector{dense}, back, 0);
  EXPECT_FALSE(back.sharesStorageWith(dense));
  EXPECT_EQ(back.getRows(), 3);
  EXPECT_EQ(test::contents(back), test::contents(dense));
  EXPECT_DEATH(comu::stlmpi_gather_stream(kComm, dense, std::vector<MatrixT<float>>() = {}, 1),
               "root 1 is not a rank of the communicator");
}

TEST(Owner, EveryIdBelongsToTheOnlyRankAndRepeatsAgree) {
  std::vector<int> owners;
  comu::get_owner_rank(kComm, {9, 3, 9, -1, 3}, owners);
  EXPECT_EQ(owners, std::vector<int>(5, 0));

  // The rendezvous hash sees every id with the caller's context.
  std::vector<int> seen;
  const int ids[] = {8, 2};
  int out[2] = {-1, -1};
  comu::get_owner_rank_ex(
      kComm, 2, ids,
      [](int id, void* context) {
        static_cast<std::vector<int>*>(context)->push_back(id);
        return 0;
      },
      &seen, out);
  EXPECT_EQ(seen, (std::vector<int>{8, 2}));
  EXPECT_EQ(out[1], 0);
}

// Rows 10, 11, 12 of a directed graph: 10 -> {11, 12}, 11 -> {}, 12 -> {10, 12}.
struct Graph {
  std::vector<int> rowIds{10, 11, 12};
  std::vector<int> rowPtr{0, 2, 2, 4};
  std::vector<int> colIds{12, 11, 10, 12};
};

TEST(Graph, TransposeAndFormats) {
  const Graph g;
  GraphMap transposed{{11, {99}}};  // merged into, not replaced
  comu::transpose_matrix(kComm, g.rowIds, g.rowPtr, g.colIds, transposed);
  EXPECT_EQ(transposed, (GraphMap{{10, {12}}, {11, {10, 99}}, {12, {10, 12}}}));

  const GraphMap before = transposed;
  comu::merge_graph(kComm, GraphMap{{1, {2}}}, transposed);
  EXPECT_EQ(transposed, before);

  std::vector<int> rowIds, rowPtr, colIds;
  comu::change_format(GraphMap{{5, {7, 1}}, {2, {}}, {3, {3}}}, rowIds, rowPtr, colIds);
  EXPECT_EQ(rowIds, (std::vector<int>{2, 3, 5}));
  EXPECT_EQ(rowPtr, (std::vector<int>{0, 0, 1, 3}));
  EXPECT_EQ(colIds, (std::vector<int>{3, 1, 7}));

  // The given order is kept, and a row the map lacks is empty.
  comu::change_format2(GraphMap{{5, {7, 1}}, {3, {3}}}, {5, 4, 3}, rowPtr, colIds);
  EXPECT_EQ(rowPtr, (std::vector<int>{0, 2, 2, 3}));
  EXPECT_EQ(colIds, (std::vector<int>{1, 7, 3}));
}

TEST(Ghost, OneRankHasNoGhosts) {
  const Graph g;
  std::vector<std::vector<int>> sendLists{{1}}, recvLists{{1}};
  std::vector<int> ghostIds{1}, ghostOwners{1};
  comu::get_unsym_ghost_info(kComm, g.rowIds, g.rowPtr, g.colIds, sendLists, recvLists, ghostIds, ghostOwners);
  EXPECT_EQ(sendLists, std::vector<std::vector<int>>(1));
  EXPECT_EQ(recvLists, std::vector<std::vector<int>>(1));
  EXPECT_TRUE(ghostIds.empty());
  EXPECT_TRUE(ghostOwners.empty());

  ghostIds = {1};
  comu::get_sym_ghost_info(kComm, {}, {0}, {}, sendLists, recvLists, ghostIds, ghostOwners);
  EXPECT_TRUE(ghostIds.empty());
}

}  // namespace exchange_test
