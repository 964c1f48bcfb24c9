#pragma once

#include <memory>
#include <vector>

#include "comu/Transport.h"

namespace velmo {

// Uniform block partition of `globalSize` indices over `numParts` parts: the first
// globalSize % numParts parts hold one index more. Every lookup is arithmetic, with the
// quotient narrowed to 32 bits so that a part never outgrows a LocalIndex.
template <class GlobalIndex, class LocalIndex>
class PartitionerT {
 public:
  struct PartitionImpl {
    int numParts = 0;
    GlobalIndex globalSize = 0;
    std::vector<GlobalIndex> partOffsets;  // reserved; never consulted
  };

  PartitionerT() : m_impl(std::make_shared<PartitionImpl>()) {}

  void create(GlobalIndex globalSize, int comm) { createForParts(globalSize, comu::commSize(comm)); }

  // The partition for `numParts` ranks without their communicator at hand.
  void createForParts(GlobalIndex globalSize, int numParts) {
    m_impl = std::make_shared<PartitionImpl>();
    m_impl->numParts = numParts;
    m_impl->globalSize = globalSize;
  }

  int getNumParts() const { return m_impl->numParts; }
  GlobalIndex getGlobalSize() const { return m_impl->globalSize; }

  LocalIndex getPartSize(int part) const { return div() + (part < rem() ? 1 : 0); }

  GlobalIndex getPartBegin(int part) const {
    int d = div(), r = rem();
    return part < r ? GlobalIndex((d + 1) * part) : GlobalIndex((part - r) * d + (d + 1) * r);
  }

  int getOwner(GlobalIndex index, LocalIndex* local) const {
    int d = div(), r = rem();
    GlobalIndex big = GlobalIndex((d + 1) * r);
    if (index < big) {
      if (local) *local = LocalIndex(index % (d + 1));
      return int(index / (d + 1));
    }
    GlobalIndex rest = index - big;
    if (local) *local = LocalIndex(rest % d);
    return int(rest / d + r);
  }

  // Rows [begin, end) of `part`; either pointer may be null.
  void getOwnerShipRange(int part, GlobalIndex* begin, GlobalIndex* end) const {
    GlobalIndex b = getPartBegin(part);
    if (begin) *begin = b;
    if (end) *end = b + getPartSize(part);
  }

  friend bool operator==(const PartitionerT& a, const PartitionerT& b) {
    return a.getGlobalSize() == b.getGlobalSize() && a.getNumParts() == b.getNumParts();
  }
  friend bool operator!=(const PartitionerT& a, const PartitionerT& b) { return !(a == b); }

 private:
  int div() const { return int(m_impl->globalSize / m_impl->numParts); }
  int rem() const { return int(m_impl->globalSize % m_impl->numParts); }

  std::shared_ptr<PartitionImpl> m_impl;
};

extern template class PartitionerT<int, int>;
extern template class PartitionerT<long, int>;

}  // namespace velmo
