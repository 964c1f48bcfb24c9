#include "kernels/SpBlasOpsRelaxImpl.h"

// Device instantiations; the host side lives in the family's .cpp.
namespace velmo {

template struct SpBlasOpsRelaxImpl<int, int, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<int, long, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<long, int, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<long, long, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<float, int, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<float, long, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<double, int, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<double, long, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<Complex<float>, int, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<Complex<float>, long, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<Complex<double>, int, spm::Cuda>;
template struct SpBlasOpsRelaxImpl<Complex<double>, long, spm::Cuda>;

}  // namespace velmo
