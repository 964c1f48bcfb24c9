#include "precond/LevelTransferOpsSA.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "comu/Transport.h"
#include "comu/communication_tools.h"
#include "comu/vec2str.h"
#include "kernels/AggregateData.h"
#include "kernels/SpBlasOps.h"
#include "mat/CrossData.h"
#include "operators/OperatorTypes.h"

namespace velmo {

namespace {

const Device kHost(0, 0);

using Records = MatrixT<AggregateData<int>, int, MatrixLayoutRowMajor>;

// An aggregate is known by the rank that made it and its number there.
struct AggrId {
  int rank;
  int aggregate;
};

// A matrix with A's partitions, device, comm and block patterns, its values of type V unset.
template <class V, class Value, class GlobalIndex, class LocalIndex>
ParCSRMatrixT<V, GlobalIndex, LocalIndex> patternOf(const ParCSRMatrixT<Value, GlobalIndex, LocalIndex>& A) {
  std::vector<CSRMatrixT<V, LocalIndex>> blocks(size_t(A.getColPartitioner().getNumParts()));
  for (size_t p = 0; p < blocks.size(); ++p) {
    const CSRMatrixT<Value, LocalIndex> block = A.getLocalMatrix(int(p));
    if (block.getRows() > 0) block.copyStructure(blocks[p]);
  }
  ParCSRMatrixT<V, GlobalIndex, LocalIndex> out;
  out.create(A.getRowPartitioner(), A.getColPartitioner(), blocks, A.getDevice(), A.getComm());
  return out;
}

// True on every rank when it holds on some rank: rounds end on all ranks together.
bool onAnyRank(int comm, bool mine) {
  const int size = comu::commSize(comm);
  std::vector<int> send(size_t(size), mine ? 1 : 0), recv(size_t(size), 0);
  comu::allToAllInt(comm, send.data(), recv.data());
  return std::any_of(recv.begin(), recv.end(), [](int flag) { return flag != 0; });
}

// Stored entries of the blocks of other ranks: each yields at most one record a round.
template <class RawMatList>
int remoteEntries(const RawMatList& views, int me) {
  int n = 0;
  for (int b = 0; b < views.getRows(); ++b)
    if (views.getData()[b].rank != me) n += views.getData()[b].nnzs;
  return n;
}

// The ranks that records can be addressed to: the owners of remote blocks of S and S2.
template <class RawMatList>
std::vector<int> neighbourRanks(const RawMatList& s, const RawMatList& s2, int me) {
  std::vector<int> ranks;
  for (const RawMatList* views : {&s, &s2})
    for (int b = 0; b < views->getRows(); ++b)
      if (views->getData()[b].rank != me) ranks.push_back(views->getData()[b].rank);
  std::sort(ranks.begin(), ranks.end());
  ranks.erase(std::unique(ranks.begin(), ranks.end()), ranks.end());
  return ranks;
}

// The records of `buffer` addressed to `target`, on the host for packing.
Records recordsFor(int target, const Records& buffer, const CrossData<int>& count, const Device& device) {
  using Ops = SpBlasOps<int, int>;
  CrossData<int> selected(device, 0);
  Ops::par_csr_aggregate_select(device, buffer.getData(), count.deviceData(), target, selected.deviceData(), nullptr);
  selected.toHost();
  Records out(selected.hostValue(), 1, device);
  Ops::par_csr_aggregate_select(device, buffer.getData(), count.deviceData(), target, nullptr, out.getData());
  return out.toDevice(kHost);
}

}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::strength(const CSRMatrix& A, const Vector& diag,
                                                                   IntCSRMatrix& S, double eps) {
  A.copyStructure(S);
  SpBlasOps<Value, LocalIndex>::csr_strength(A.getDevice(), A.getRows(), A.getCols(), A.getRowPtr(), A.getColIdx(),
                                             A.getValues(), diag.getData(), S.getValues(), eps, 0, 0);
}

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::strength(const ParCSRMatrix& A, const ParMatrix& diag,
                                                                   ParIntCSRMatrix& S, double eps) {
  S = patternOf<int>(A);
  typename ParCSRMatrix::RawMatList A_raw_m;
  typename ParIntCSRMatrix::RawMatList strength_raw_m;
  A.getRawMat(A_raw_m);
  S.getRawMat(strength_raw_m);
  CHECK(A_raw_m.getSize() == strength_raw_m.getSize());
  const Value* d = diag.getLocalMatrix().getData();
  for (int b = 0; b < A_raw_m.getSize(); ++b) {
    const auto& a = A_raw_m.getData()[b];
    SpBlasOps<Value, LocalIndex>::csr_strength(A.getDevice(), a.rows, a.cols, a.row_ptr, a.col_idx, a.values, d,
                                               strength_raw_m.getData()[b].values, eps, a.row_offset, a.col_offset);
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::aggregate(const IntCSRMatrix& S, IntVector& aggr,
                                                                    int& naggr) {
  const Device device = S.getDevice();
  const LocalIndex rows = S.getRows();
  aggr.create(rows, 1, device);
  IntVector stack(rows, 1, device), renumbering(rows, 1, device), count(1, 1, device);
  SpBlasOps<int, LocalIndex>::csr_aggregate(device, rows, S.getCols(), S.getRowPtr(), S.getColIdx(), S.getValues(),
                                            aggr.getData(), stack.getData(), renumbering.getData(), count.getData());
  naggr = count.toDevice(kHost).getData()[0];
}

// Rounds of claims until no rank has an undecided row. Only the counters travel to the host
// during the rounds; the marks stay on the device until renumber.
template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::aggregate(const ParIntCSRMatrix& S, ParIntMatrix& aggr,
                                                                    long& naggr) {
  using Ops = SpBlasOps<int, LocalIndex>;
  const int comm = S.getComm();
  const Device device = S.getDevice();
  const int me = comu::commRank(comm);
  aggr.create(S.getRowPartitioner(), device, comm);

  typename ParIntCSRMatrix::RawMatList sList, s2List;
  S.getRawMat(sList);
  // S2 serves only through its blocks of other ranks, and it has some only where S has some
  // on some rank. Without any, a product as costly as the rest of the setup would change
  // nothing: every row takes the local branch either way. So S2 is then left without blocks.
  LOG(INFO) << "begin generate S2";
  ParIntCSRMatrix S2;
  if (onAnyRank(comm, remoteEntries(sList, me) > 0))
    S2 = S.multiply(S);
  else
    S2.create(S.getRowPartitioner(), S.getColPartitioner(), {}, device, comm);
  LOG(INFO) << "end generate S2";

  CrossData<int> nUndone(device, 0), naggrLocal(device, 0), sendCount(device, 0);
  ParIntMatrix owner = aggr.deepCopy();
  S2.prepareMatVec(false);
  S2.getRawMat(s2List);
  const typename ParIntCSRMatrix::RawMatList sViews = sList.toDevice(device);
  typename ParIntCSRMatrix::RawMatList s2Views = s2List.toDevice(device);
  Records sendBuffer(remoteEntries(sList, me) + remoteEntries(s2List, me), 1, device);

  const IntVector aggrLocal = aggr.getLocalMatrix(), ownerLocal = owner.getLocalMatrix();
  const LocalIndex rows = aggrLocal.getRows();
  // The pointers select the mode of the kernel.
  const auto step = [&](AggregateData<int>* records, CrossData<int>* count, int* stack) {
    Ops::par_csr_aggregate(device, rows, me, sList.getRows(), sViews.getData(), s2List.getRows(), s2Views.getData(),
                           aggrLocal.getData(), ownerLocal.getData(), naggrLocal.deviceData(), nUndone.deviceData(),
                           records, count ? count->deviceData() : nullptr, stack);
  };
  step(nullptr, nullptr, nullptr);
  naggrLocal.toHost();
  nUndone.toHost();
  LOG(INFO) << ">>>>send_data_all myrank " << me << ", n_undone " << nUndone.hostValue() << ", rows " << rows;

  // Ghost marks: the remote blocks of S2 see the other ranks' rows.
  const auto refreshGhosts = [&] {
    S2.exchangeMatVec(aggr, {}, {}, {}, nullptr);
    S2.getRawMat(s2List);
    s2List.toDevice(device, s2Views);
  };
  refreshGhosts();
  IntVector stack(rows, 1, device);
  const std::vector<int> neighbours = neighbourRanks(sList, s2List, me);

  while (true) {
    sendCount = CrossData<int>(device, 0);
    if (nUndone.hostValue() != 0) {
      step(sendBuffer.getData(), &sendCount, stack.getData());
      naggrLocal.toHost();
      nUndone.toHost();
      sendCount.toHost();
      sendBuffer.resize(sendCount.hostValue(), 1, device);
    }
    // A rank with nothing left to claim still answers its neighbours.
    std::vector<Records> send(size_t(comu::commSize(comm))), received;
    for (int r : neighbours) send[size_t(r)] = recordsFor(r, sendBuffer, sendCount, device);
    comu::sparse_send_recv_stream(comm, send, received, nullptr);
    for (const Records& got : received) {
      if (got.getRows() == 0) continue;
      const Records claims = got.toDevice(device);
      CrossData<int> count(device, claims.getRows());
      step(claims.getData(), &count, nullptr);
    }
    refreshGhosts();
    nUndone.toHost();
    if (!onAnyRank(comm, nUndone.hostValue() >= 1)) break;
  }

  ParIntMatrix hostAggr = aggr.toDevice(kHost), hostOwner = owner.toDevice(kHost);
  renumber(hostAggr, hostOwner, naggr);
  hostAggr.toDevice(device, aggr);
}

// Each aggregate is numbered by the rank that made it, in order of first appearance; the
// isolated rows, which no rank owns, go to rank 0 and come back as -1.
template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::renumber(ParIntMatrix& aggr, ParIntMatrix& owner,
                                                                   long& naggr) {
  const int comm = aggr.getComm();
  const size_t ranks = size_t(comu::commSize(comm)), me = size_t(comu::commRank(comm));
  int* marks = aggr.getLocalMatrix().getData();
  const int* owners = owner.getLocalMatrix().getData();
  const LocalIndex rows = aggr.getLocalMatrix().getRows();

  // Per other destination: the ids as (rank, aggregate) pairs in row order, and their rows.
  // The own rows are never packed: the walk below reads them in place and answers into
  // `marks`, which spares a one-rank run every copy of the row-sized lists.
  const auto destination = [&](LocalIndex i) { return owners[i] >= 0 ? size_t(owners[i]) : 0; };
  std::vector<size_t> sizes(ranks, 0);
  for (LocalIndex i = 0; i < rows; ++i) ++sizes[destination(i)];
  sizes[me] = 0;
  std::vector<std::vector<int>> ids(ranks), positions(ranks);
  for (size_t r = 0; r < ranks; ++r) {
    ids[r].reserve(2 * sizes[r]);
    positions[r].reserve(sizes[r]);
  }
  for (LocalIndex i = 0; i < rows; ++i) {
    const size_t dest = destination(i);
    if (dest == me) continue;
    ids[dest].push_back(owners[i]);
    ids[dest].push_back(marks[i]);
    positions[dest].push_back(int(i));
  }
  std::vector<std::vector<int>> received;
  comu::sparse_send_recv<int>(comm, ids, received, false);

  // The requests from rank r in their order, each with the place of its answer.
  std::vector<std::vector<int>> answers(ranks);
  for (size_t r = 0; r < ranks; ++r) answers[r].resize(received[r].size() / 2);
  const auto walk = [&](size_t r, const auto& visit) {
    if (r == me) {
      for (LocalIndex i = 0; i < rows; ++i)
        if (destination(i) == me) visit(AggrId{owners[i], marks[i]}, marks[i]);
      return;
    }
    const std::vector<int>& list = received[r];
    for (size_t k = 0; k + 1 < list.size(); k += 2) visit(AggrId{list[k], list[k + 1]}, answers[r][k / 2]);
  };

  // Rows come here only from their owner, so every id named here was made by this rank, and
  // its aggregate is this rank's running count. A table indexed by that count numbers them in
  // order of first appearance, exactly as an ordered map of the (rank, aggregate) pairs would,
  // without a tree lookup per row.
  int bound = 0;
  for (size_t r = 0; r < ranks; ++r)
    walk(r, [&](const AggrId& id, int&) {
      if (id.rank < 0) return;
      CHECK(id.rank == int(me) && id.aggregate >= 0) << "renumber: aggregate " << id.aggregate << " of rank "
                                                      << id.rank << " sent to rank " << me;
      bound = std::max(bound, id.aggregate + 1);
    });
  std::vector<int> numbers(size_t(bound), -1);
  int count = 0;
  for (size_t r = 0; r < ranks; ++r)
    walk(r, [&](const AggrId& id, int& answer) {
      if (id.rank < 0) {
        answer = -1;
        return;
      }
      int& number = numbers[size_t(id.aggregate)];
      if (number < 0) number = count++;
      answer = number;
    });

  std::vector<int> mine(ranks, count), counts(ranks, 0);
  comu::allToAllInt(comm, mine.data(), counts.data());
  std::vector<long> starts(ranks + 1, 0);
  for (size_t r = 0; r < ranks; ++r) starts[r + 1] = counts[r];
  LOG(INFO) << "gather_count is " << comu::vec2str(starts) << ", count is " << count;
  for (size_t r = 0; r < ranks; ++r) starts[r + 1] += starts[r];
  for (size_t r = 0; r < ranks; ++r)
    walk(r, [&](const AggrId&, int& answer) {
      if (answer >= 0) answer += int(starts[me]);
    });
  naggr = starts.back();

  // The answers have the shape of the requests.
  std::vector<std::vector<int>> back(ranks);
  for (size_t r = 0; r < ranks; ++r) back[r].resize(positions[r].size());
  comu::sparse_send_recv<int>(comm, answers, back, true);
  for (size_t r = 0; r < ranks; ++r)
    for (size_t k = 0; k < back[r].size(); ++k) marks[positions[r][k]] = back[r][k];
}

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::tentative_prolongation(int rows, int naggr,
                                                                                 const IntVector& aggr,
                                                                                 CSRMatrix& P) {
  using Ops = SpBlasOps<Value, LocalIndex>;
  const Device device = aggr.getDevice();
  P.create(rows, naggr, 0, device);
  if (rows <= 0) return;
  Ops::csr_tentative_prolongation(device, rows, naggr, aggr.getData(), P.getRowPtr(), nullptr, nullptr);
  P.resizeNnz(P.evaluateNnzs(), 0);
  if (P.getNnzs() > 0)
    Ops::csr_tentative_prolongation(device, rows, naggr, aggr.getData(), P.getRowPtr(), P.getColIdx(),
                                    P.getValues());
}

// `rows` is the global count; this rank builds its own rows.
template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::tentative_prolongation(int /*rows*/, int naggr,
                                                                                 const ParIntMatrix& aggr,
                                                                                 ParCSRMatrix& P) {
  const IntVector local = aggr.getLocalMatrix();
  CSRMatrix L;
  tentative_prolongation(local.getRows(), naggr, local, L);
  PartitionerT<GlobalIndex, LocalIndex> colPartitioner;
  colPartitioner.createForParts(naggr, aggr.getRowPartitioner().getNumParts());
  std::vector<CSRMatrix> blocks;
  L.splitCols(colPartitioner, blocks);
  P.create(aggr.getRowPartitioner(), colPartitioner, blocks, aggr.getDevice(), aggr.getComm());
}

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::tentative_filter(const ParCSRMatrix& A,
                                                                           const ParIntCSRMatrix& S,
                                                                           ParCSRMatrix& Af) {
  Af = patternOf<Value>(A);
  typename ParCSRMatrix::RawMatList aList, afList;
  typename ParIntCSRMatrix::RawMatList sList;
  A.getRawMat(aList);
  S.getRawMat(sList);
  Af.getRawMat(afList);
  if (aList.getRows() == 0) return;
  const Device device = A.getDevice();
  SpBlasOps<Value, LocalIndex>::csr_tentative_filter(device, aList.getData()[0].rows, aList.getRows(),
                                                     aList.toDevice(device).getData(),
                                                     sList.toDevice(device).getData(),
                                                     afList.toDevice(device).getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::tentative_smooth(const CSRMatrix& A, int naggr,
                                                                           const CSRMatrix& Ptent,
                                                                           const IntCSRMatrix& S, CSRMatrix& P,
                                                                           double omega) {
  const Device device = A.getDevice();
  const LocalIndex rows = A.getRows();
  P.create(rows, naggr, 0, device);
  if (rows <= 0) return;
  MatrixT<LocalIndex, int> marker(Ptent.getCols(), 1, device);
  const auto pass = [&] {
    SpBlasOps<Value, LocalIndex>::csr_tentative_smooth(
        device, rows, A.getCols(), Ptent.getCols(), A.getRowPtr(), A.getColIdx(), A.getValues(), S.getValues(),
        Ptent.getRowPtr(), Ptent.getColIdx(), Ptent.getValues(), P.getRowPtr(), P.getColIdx(), P.getValues(),
        Value(omega), marker.getData());
  };
  pass();
  const LocalIndex n = P.evaluateNnzs();
  std::printf("the P nnzs is %d\n", int(n));
  P.resizeNnz(n, 0);
  if (n > 0) pass();
}

// The composed route: no fusing, and the weak zeros of Af take part in the product.
template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>::tentative_smooth(const ParCSRMatrix& A, int /*naggr*/,
                                                                           const ParCSRMatrix& Ptent,
                                                                           const ParIntCSRMatrix& S, ParCSRMatrix& P,
                                                                           double omega) {
  ParCSRMatrix W;
  tentative_filter(A, S, W);
  ParMatrix ones;
  ones.create(A.getRowPartitioner(), A.getDevice(), A.getComm());
  ones.fill(Value(1));
  ParMatrix dinv = W.getDiag(0);
  ParMatrix::reciprocal(Value(1), dinv);
  ParCSRMatrix::matmul_aDA(Value(-omega), dinv, W);
  ParCSRMatrix::axpbyDiag(Value(1), ones, Value(1), ParMatrix(), W);
  W.multiply(Ptent, P);
}

#define VELMO_INSTANTIATE(V, G, L) template struct LevelTransferOps_SA<V, G, L>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
