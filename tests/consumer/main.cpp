#include <cstdio>
#include <vector>

#include <velmo/Version.h>

#include "kernels/BlasOps.h"
#include "utils/Device.h"

int main() {
  velmo::Device::initialize();
  std::vector<double> x{1, 2, 3};
  double dot = velmo::BlasOps<double, int>::dot(velmo::Device(0, 0), 3, x.data(), x.data());
  velmo::Device::finalize();
  std::printf("velmo %s (%s): x.x = %g\n", VELMO_VERSION_STRING, VELMO_BACKENDS_STRING, dot);
  return dot == 14.0 ? 0 : 1;
}
