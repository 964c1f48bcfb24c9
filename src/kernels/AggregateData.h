#pragma once

namespace velmo {

// What one rank tells another during distributed aggregation: the row `index` of the
// addressee `rank` joins aggregate `aggregate` of the sender. Three I fields, no padding:
// it travels as raw bytes.
template <class I>
struct AggregateData {
  I rank;
  I index;
  I aggregate;
};

static_assert(sizeof(AggregateData<int>) == 12, "AggregateData<int> travels as 12 bytes");

}  // namespace velmo
