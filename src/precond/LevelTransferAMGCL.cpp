#include "precond/LevelTransferAMGCL.h"

#include <glog/logging.h>

#include <amgcl/backend/builtin.hpp>
#include <amgcl/coarsening/detail/galerkin.hpp>
#include <amgcl/coarsening/pointwise_aggregates.hpp>
#include <amgcl/coarsening/ruge_stuben.hpp>
#include <amgcl/coarsening/smoothed_aggregation.hpp>
#include <amgcl/coarsening/tentative_prolongation.hpp>
#include <cmath>
#include <memory>
#include <tuple>
#include <vector>

#include "mat/ParCSRMatrix.h"
#include "precond/AMGCLConvert.h"
#include "utils/Factory.h"

namespace velmo {

namespace {

using Backend = amgcl::backend::builtin<double, long, long>;
using AmgclMatrix = Backend::matrix;
using AmgclFlags = amgcl::backend::crs<char, long, long>;
using SmoothedAggregation = amgcl::coarsening::smoothed_aggregation<Backend>;
using RugeStuben = amgcl::coarsening::ruge_stuben<Backend>;

// AMGCL keeps the two steps of its classical split private. An explicit instantiation may name
// private members, so through it the bridge reports the split that AMGCL itself makes.
template <class Step, typename Step::type member>
struct Reach {
  friend typename Step::type reach(Step) { return member; }
};
struct ConnectStep {
  using type = void (*)(const AmgclMatrix&, float, AmgclFlags&, std::vector<char>&);
};
struct SplitStep {
  using type = void (*)(const AmgclMatrix&, const AmgclFlags&, std::vector<char>&);
};
ConnectStep::type reach(ConnectStep);
SplitStep::type reach(SplitStep);
template struct Reach<ConnectStep, &RugeStuben::connect<double, long, long>>;
template struct Reach<SplitStep, &RugeStuben::cfsplit<double, long, long>>;

const Device kHost(0, 0);

// The gathered matrix where AMGCL can read it.
template <class Value>
CSRMatrixT<Value, int> onHost(const CSRMatrixT<Value, int>& A) {
  return A.getDevice() == kHost ? A : A.toDevice(kHost);
}

// A copy of a host matrix that owns its data, indices widened to long.
template <class Value>
AmgclMatrix toAmgcl(const CSRMatrixT<Value, int>& h) {
  const int rows = h.getRows(), nnz = h.getNnzs();
  const std::vector<long> ptr(h.getRowPtr(), h.getRowPtr() + rows + 1), col(h.getColIdx(), h.getColIdx() + nnz);
  const std::vector<double> val(h.getValues(), h.getValues() + nnz);
  return AmgclMatrix(size_t(rows), size_t(h.getCols()), ptr, col, val);
}

// The pattern of a host matrix with the per-entry flags of AMGCL's strength test as values.
template <class Value>
void flagsOn(const CSRMatrixT<Value, int>& h, const std::vector<char>& flags, CSRMatrixT<int, int>& S) {
  h.copyStructure(S);
  const MatrixT<int, int, MatrixLayoutRowMajor> values = vec2mat<int, char>(flags);
  std::copy(values.getData(), values.getData() + values.getRows(), S.getValues());
}

// AMGCL's P in velmo's form, rows sorted; with keepImpl also AMGCL's own coarse operator, for
// inspection.
template <class Value, class Impl>
void takeTransfer(Impl& m, const AmgclMatrix& Ah, AmgclMatrix& Pa, AmgclMatrix& Ra, bool keepImpl) {
  amgcl::backend::sort_rows(Pa);
  m.P = amgcl2velmo<Value, double>(Pa);
  if (!keepImpl) return;
  amgcl::backend::sort_rows(Ra);
  m.Ac = amgcl2velmo<Value, double>(*amgcl::coarsening::detail::galerkin(Ah, Pa, Ra));
}

}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferSmoothAggregationAMGCL_T<Value, GlobalIndex, LocalIndex>::transfer_operators(const ParCSRMatrix& A,
                                                                                               ParCSRMatrix& P,
                                                                                               ParCSRMatrix& R) {
  auto& m = this->beginImpl();
  m.A = A.gather(0);
  const double eps = this->eps_strong * std::pow(0.5, this->level_id);
  LOG(INFO) << "size " << m.A.getRows() << ", eps_strong " << eps << ", block_size  " << this->block_size
            << " relax " << this->relax << std::endl;
  LOG(INFO) << "Begin get the P for  Interpolator A: " << m.A.getRows() << "x" << m.A.getCols() << "\n";

  // Only the root holds rows.
  if (m.A.getRows() > 0) {
    const auto host = onHost(m.A);
    const AmgclMatrix Ah = toAmgcl(host);
    SmoothedAggregation::params prm;
    prm.aggr.eps_strong = float(eps);
    prm.aggr.block_size = unsigned(this->block_size);
    prm.relax = float(this->relax);
    prm.estimate_spectral_radius = false;
    prm.power_iters = 0;
    // The coarsening halves its threshold once it has aggregated: the inspection below
    // repeats the aggregation with the threshold it used.
    const SmoothedAggregation::Aggregates::params aggrPrm = prm.aggr;
    SmoothedAggregation coarsening(prm);
    std::shared_ptr<AmgclMatrix> Pa, Ra;
    std::tie(Pa, Ra) = coarsening.transfer_operators(Ah);
    LOG(INFO) << "smoothed_aggregation prm.aggr is " << Pa->ncols;
    LOG(INFO) << "the omega for smoothing is " << double(prm.relax) * (2.0 / 3);
    takeTransfer<Value>(m, Ah, *Pa, *Ra, this->keep_impl);

    const SmoothedAggregation::Aggregates aggregates(Ah, aggrPrm, unsigned(prm.nullspace.cols));
    flagsOn(host, aggregates.strong_connection, m.S);
    m.aggr = vec2mat<int, long>(aggregates.id);
    m.naggr = int(aggregates.count);
    m.Ptent = amgcl2velmo<Value, double>(*amgcl::coarsening::tentative_prolongation<AmgclMatrix>(
        Ah.nrows, aggregates.count, aggregates.id, prm.nullspace, this->block_size));
  }

  P.scatter(0, A.getComm(), m.P);
  P.transpose(R);
  if (!this->keep_impl) this->impl.reset();
}

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferRugeStubenAMGCL_T<Value, GlobalIndex, LocalIndex>::transfer_operators(const ParCSRMatrix& A,
                                                                                        ParCSRMatrix& P,
                                                                                        ParCSRMatrix& R) {
  auto& m = this->beginImpl();
  m.A = A.gather(0);
  LOG(INFO) << "Begin get the P for  Interpolator A: " << m.A.getRows() << "x" << m.A.getCols() << "\n";

  if (m.A.getRows() > 0) {
    const auto host = onHost(m.A);
    const AmgclMatrix Ah = toAmgcl(host);
    RugeStuben::params prm;
    prm.eps_strong = float(this->eps_strong);
    prm.do_trunc = this->do_trunc;
    prm.eps_trunc = float(this->eps_trunc);
    std::shared_ptr<AmgclMatrix> Pa, Ra;
    std::tie(Pa, Ra) = RugeStuben(prm).transfer_operators(Ah);
    takeTransfer<Value>(m, Ah, *Pa, *Ra, this->keep_impl);
    m.naggr = int(Pa->ncols);

    // The split again, for inspection: the same steps on the same matrix.
    AmgclFlags S;
    std::vector<char> cf(Ah.nrows, 'U');
    reach(ConnectStep())(Ah, prm.eps_strong, S, cf);
    reach(SplitStep())(Ah, S, cf);
    flagsOn(host, std::vector<char>(S.val, S.val + Ah.nnz), m.S);
    m.cf = vec2mat<int, char>(cf);
  }

  P.scatter(0, A.getComm(), m.P);
  P.transpose(R);
  if (!this->keep_impl) this->impl.reset();
}

template class LevelTransferSmoothAggregationAMGCL_T<float, long, int>;
template class LevelTransferSmoothAggregationAMGCL_T<double, long, int>;
template class LevelTransferRugeStubenAMGCL_T<float, long, int>;
template class LevelTransferRugeStubenAMGCL_T<double, long, int>;

VELMO_REGISTER(ParLevelTransferT, LevelTransferSmoothAggregationAMGCL, LevelTransferSmoothAggregationAMGCL_T, float,
               float32, long, int64_t, int, int);
VELMO_REGISTER(ParLevelTransferT, LevelTransferSmoothAggregationAMGCL, LevelTransferSmoothAggregationAMGCL_T, double,
               float64, long, int64_t, int, int);
VELMO_REGISTER(ParLevelTransferT, LevelTransferRugeStubenAMGCL, LevelTransferRugeStubenAMGCL_T, float, float32, long,
               int64_t, int, int);
VELMO_REGISTER(ParLevelTransferT, LevelTransferRugeStubenAMGCL, LevelTransferRugeStubenAMGCL_T, double, float64, long,
               int64_t, int, int);

}  // namespace velmo
