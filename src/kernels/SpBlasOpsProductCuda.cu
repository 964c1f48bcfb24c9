#include "kernels/SpBlasOpsProductImpl.h"

// Device instantiations; the host side lives in the family's .cpp.
namespace velmo {

template struct SpBlasOpsProductImpl<int, int, spm::Cuda>;
template struct SpBlasOpsProductImpl<int, long, spm::Cuda>;
template struct SpBlasOpsProductImpl<long, int, spm::Cuda>;
template struct SpBlasOpsProductImpl<long, long, spm::Cuda>;
template struct SpBlasOpsProductImpl<float, int, spm::Cuda>;
template struct SpBlasOpsProductImpl<float, long, spm::Cuda>;
template struct SpBlasOpsProductImpl<double, int, spm::Cuda>;
template struct SpBlasOpsProductImpl<double, long, spm::Cuda>;
template struct SpBlasOpsProductImpl<Complex<float>, int, spm::Cuda>;
template struct SpBlasOpsProductImpl<Complex<float>, long, spm::Cuda>;
template struct SpBlasOpsProductImpl<Complex<double>, int, spm::Cuda>;
template struct SpBlasOpsProductImpl<Complex<double>, long, spm::Cuda>;

}  // namespace velmo
