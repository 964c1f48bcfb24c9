#pragma once

#include <string>

#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"
#include "utils/TestCase.h"

namespace velmo {

// A system read from Matrix Market files, registered as "MatrixMarket". An empty
// "filename_x" starts from zero and an empty "filename_b" solves for a right-hand side of
// ones.
template <class Value, class GlobalIndex, class LocalIndex>
class MatrixMarket_T : public TestCaseT<Value, GlobalIndex, LocalIndex> {
  using Base = TestCaseT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParCSRMatrix;
  using typename Base::ParMatrix;

  // Reads "filename_A", "filename_b", "filename_x" and "device".
  void create(const json& params);
  void generate(ParCSRMatrix& A, ParMatrix& x, ParMatrix& b) override;

 private:
  using LocalVector = MatrixT<Value, LocalIndex>;

  // The vector of `path`, or `rows` copies of `fill` when the name is empty.
  LocalVector loadVector(const std::string& path, const char* what, LocalIndex rows, const Value& fill) const;

  std::string m_fileA;
  std::string m_fileB;
  std::string m_fileX;
};

}  // namespace velmo
