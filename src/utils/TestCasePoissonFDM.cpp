#include "utils/TestCasePoissonFDM.h"

#include <glog/logging.h>

#include <omp.h>

#include <cmath>

#include "kernels/spm/spm.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void PoissonFDM_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  this->record.read(params, "dim", m_dim);
  this->record.read(params, "N", m_N);
  this->readDevice(params);
}

template <class Value, class GlobalIndex, class LocalIndex>
void PoissonFDM_T<Value, GlobalIndex, LocalIndex>::generate(ParCSRMatrix& A, ParMatrix& x, ParMatrix& b) {
  const int comm = comu::kCommSelf;
  const GlobalIndex N = m_N;
  const GlobalIndex nz = m_dim == 3 ? N : 1;
  const GlobalIndex plane = N * N;
  const GlobalIndex size = nz * plane;

  // N = 1 gives an infinite spacing and so a zero coupling, deliberately unguarded.
  const double hx = 1.0 / double(N - 1);
  const double ix2 = 1.0 / (hx * hx);
  const double hy = N >= 2 ? hx : 1.0;
  const double iy2 = N >= 2 ? ix2 : 0.0;
  const double hz = nz >= 2 ? 1.0 / double(nz - 1) : 1.0;
  const double iz2 = nz >= 2 ? 1.0 / (hz * hz) : 0.0;
  const bool log = this->rank == 0;

  if (log) LOG(INFO) << "Begin assembling poission A and b, size " << size << "x" << size;
  A.create(size, size, this->device, comm);
  A.beginAssemble();
  GlobalIndex begin = 0, end = 0;
  A.getOwnerShipRange(&begin, &end);

  auto gridOf = [&](GlobalIndex i, GlobalIndex& k, GlobalIndex& j, GlobalIndex& c) {
    k = i / plane;
    j = (i - k * plane) / N;
    c = i - k * plane - j * N;
  };
  // The rows are spread over the thread team. setValue is thread-safe and every row is set by
  // one thread alone, in the order below, so the matrix does not depend on the team.
  const spm::OpenMP team(omp_get_max_threads());
  const spm::RangePolicy<spm::OpenMP> ownRows(team, long(begin), long(end));

  spm::parallel_for(ownRows, [&](long i) {
    GlobalIndex k, j, c;
    gridOf(i, k, j, c);
    A.setValue(i, i, Value(2 * ix2 + 2 * iy2 + 2 * iz2), 1);
    if (c > 0) A.setValue(i, i - 1, Value(-ix2), 1);
    if (c < N - 1) A.setValue(i, i + 1, Value(-ix2), 1);
    if (j > 0) A.setValue(i, i - N, Value(-iy2), 1);
    if (j < N - 1) A.setValue(i, i + N, Value(-iy2), 1);
    if (k > 0) A.setValue(i, i - plane, Value(-iz2), 1);
    if (k < nz - 1) A.setValue(i, i + plane, Value(-iz2), 1);
  });
  if (log) LOG(INFO) << "finish add values to A";
  A.endAssemble();
  if (log) LOG(INFO) << "finish assemble to A";

  // x is written straight into host storage and then moved; b goes through assembly.
  constexpr double kInverseTwoPiSquared = 0.05066059182116889;
  const double pi = M_PI;
  b.create(size, 1, this->device, comm);
  ParMatrix hostX(size, 1, Device(0, 0), comm);
  Value* xData = hostX.getLocalMatrix().getData();
  spm::parallel_for(ownRows, [&](long i) {
    GlobalIndex k, j, c;
    gridOf(i, k, j, c);
    double s = std::sin(pi * double(c) * hx) * std::sin(pi * double(j) * hy);
    if (m_dim != 2) s *= std::sin(pi * double(k) * hz);
    b.setValue(i, Value(s), 0);
    xData[i - begin] = Value(s * kInverseTwoPiSquared);
  });
  if (log) LOG(INFO) << "finish add values to b";
  if (log) LOG(INFO) << "A nnz " << A.getNnzs();
  b.endAssemble();
  if (log) LOG(INFO) << "finish assemble to b";
  hostX.toDevice(this->device, x);
  if (log) LOG(INFO) << "End assembling poisson A and b";
}

template class PoissonFDM_T<double, int, int>;
template class PoissonFDM_T<double, long, int>;
template class PoissonFDM_T<Complex<double>, int, int>;
template class PoissonFDM_T<Complex<double>, long, int>;

VELMO_REGISTER(TestCaseT, PoissonFDM, PoissonFDM_T, double, float64, long, int64_t, int, int);
VELMO_REGISTER(TestCaseT, PoissonFDM, PoissonFDM_T, Complex<double>, complex64, long, int64_t, int, int);
VELMO_REGISTER(TestCaseT, PoissonFDM, PoissonFDM_T, double, float64, int, int32_t, int, int);
VELMO_REGISTER(TestCaseT, PoissonFDM, PoissonFDM_T, Complex<double>, complex64, int, int32_t, int, int);

}  // namespace velmo
