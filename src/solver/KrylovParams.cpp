#include "solver/KrylovParams.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace velmo {

void KrylovParams::read(const json& params, ParamRecord& record, const char* verboseKey) {
  record.read(params, "max_its", max_its);
  record.read(params, "rtol", rtol);
  record.read(params, "btol", btol);
  record.read(params, "atol", atol);
  record.read(params, verboseKey, verbose);
}

double KrylovParams::threshold(double norm_b, double res0) const {
  return std::max(std::max(norm_b * btol, rtol * res0), atol);
}

void KrylovParams::printTableHead(const char* banner, double res0, double norm_b) const {
  std::printf("%s\n", banner);
  std::printf("Tolerances: atol=%lg, rtol=%lg, btol=%lg\n", atol, rtol, btol);
  std::printf("Iters   Resid. norm    Resid./resid0  Resid./rhs\n");
  std::printf("-----   ------------   -------------  ------------\n");
  printTableRow(0, res0, res0, norm_b);
}

void KrylovParams::printTableRow(int iter, double res, double res0, double norm_b) {
  std::printf("%5d   %12e   %12e   %12e\n", iter, res, res / res0, res / norm_b);
}

}  // namespace velmo
