#pragma once

#include <map>
#include <set>
#include <vector>

// Distributed graphs in two forms. CSR form: row i has global number rowIds[i] and adjacency
// colIds[rowPtr[i] .. rowPtr[i+1]-1], in global numbers. Map form: global row number to
// adjacency set.
namespace velmo::comu {

using GraphMap = std::map<int, std::set<int>>;

// Adds to `map`, for every id this rank owns, the rows of all ranks whose adjacency reaches it.
// Collective.
void transpose_matrix(int comm, const std::vector<int>& rowIds, const std::vector<int>& rowPtr,
                      const std::vector<int>& colIds, GraphMap& map);

// Reserved for joining rows that several ranks hold; `map` is left unchanged.
void merge_graph(int comm, const GraphMap& mine, GraphMap& map);

// Map form to CSR form, rows in ascending order.
void change_format(const GraphMap& map, std::vector<int>& rowIds, std::vector<int>& rowPtr,
                   std::vector<int>& colIds);
// The same, rows in the order of the given `rowIds`; a row missing from the map is empty.
void change_format2(const GraphMap& map, const std::vector<int>& rowIds, std::vector<int>& rowPtr,
                    std::vector<int>& colIds);

}  // namespace velmo::comu
