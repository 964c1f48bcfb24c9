#pragma once

#include <memory>
#include <vector>

#include "operators/ParOperator.h"

namespace velmo {

// Several smoothers applied one after another, "SmootherList". Key "smoothers": an array of
// objects, each with "smoother_type" and its "<Name>_params".
template <class Value, class GlobalIndex, class LocalIndex>
class ParSmootherList_T : public ParSmootherT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;
  using ParSmoother = ParSmootherT<Value, GlobalIndex, LocalIndex>;

  ~ParSmootherList_T() override = default;

  void create(const json& params);
  void setup(const ParMatrixFree& A) override;
  // Each smoother in order, each starting from the x the one before left.
  void smooth(const ParMatrix& b, ParMatrix& x) override;

  const std::vector<std::shared_ptr<ParSmoother>>& getSmoothers() const { return smoothers; }

 private:
  std::vector<std::shared_ptr<ParSmoother>> smoothers;
};

}  // namespace velmo
