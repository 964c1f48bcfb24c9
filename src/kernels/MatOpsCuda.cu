#include "kernels/MatOpsImpl.h"

// Device instantiations; the host side lives in the family's .cpp.
namespace velmo {

template struct MatOpsImpl<int, int, spm::Cuda>;
template struct MatOpsImpl<int, long, spm::Cuda>;
template struct MatOpsImpl<long, int, spm::Cuda>;
template struct MatOpsImpl<long, long, spm::Cuda>;
template struct MatOpsImpl<float, int, spm::Cuda>;
template struct MatOpsImpl<float, long, spm::Cuda>;
template struct MatOpsImpl<double, int, spm::Cuda>;
template struct MatOpsImpl<double, long, spm::Cuda>;
template struct MatOpsImpl<Complex<float>, int, spm::Cuda>;
template struct MatOpsImpl<Complex<float>, long, spm::Cuda>;
template struct MatOpsImpl<Complex<double>, int, spm::Cuda>;
template struct MatOpsImpl<Complex<double>, long, spm::Cuda>;

}  // namespace velmo
