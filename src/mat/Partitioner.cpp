#include "mat/Partitioner.h"

namespace velmo {

template class PartitionerT<int, int>;
template class PartitionerT<long, int>;

}  // namespace velmo
