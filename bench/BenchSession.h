#pragma once

#include <glog/logging.h>

#include <cstdlib>

#include <nlohmann/json.hpp>

#include "utils/Device.h"
#include "utils/TestCasePoissonFDM.h"

namespace velmo::bench {

// What every benchmark does around its measurements: positional arguments with defaults,
// glog down to warnings, and the devices up for the session's life. Declared first in main,
// it outlives every matrix.
class Session {
 public:
  Session(int argc, char** argv) : m_argc(argc), m_argv(argv) {
    FLAGS_minloglevel = google::GLOG_WARNING;
    google::InitGoogleLogging(argv[0]);
    Device::initialize();
  }
  ~Session() { Device::finalize(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Argument i, counted from 1, or `fallback` when it is not given.
  long arg(int i, long fallback) const { return m_argc > i ? std::atol(m_argv[i]) : fallback; }

 private:
  int m_argc;
  char** m_argv;
};

// The Poisson system of the driver's test problem on n points an axis.
template <class Matrix, class Vector>
void poisson(int dim, int n, Matrix& A, Vector& x, Vector& b) {
  PoissonFDM_T<double, long, int> generator;
  generator.create({{"dim", dim}, {"N", n}});
  generator.generate(A, x, b);
}

}  // namespace velmo::bench
