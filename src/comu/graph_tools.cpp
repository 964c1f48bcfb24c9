#include "comu/graph_tools.h"

#include <cstddef>

#include "comu/Stream.h"
#include "comu/Transport.h"
#include "comu/communication_tools.h"
#include "comu/owner_tools.h"

namespace velmo::comu {

using std::size_t;

void transpose_matrix(int comm, const std::vector<int>& rowIds, const std::vector<int>& rowPtr,
                      const std::vector<int>& colIds, GraphMap& map) {
  GraphMap local;
  for (size_t i = 0; i + 1 < rowPtr.size(); ++i)
    for (int k = rowPtr[i]; k < rowPtr[i + 1]; ++k) local[colIds[size_t(k)]].insert(rowIds[i]);

  std::vector<int> ids, owners;
  ids.reserve(local.size());
  for (const auto& entry : local) ids.push_back(entry.first);
  get_owner_rank(comm, ids, owners);

  std::vector<std::vector<TRDATA>> send(size_t(commSize(comm))), recv;
  size_t k = 0;
  for (auto& [id, rows] : local) send[size_t(owners[k++])].push_back(TRDATA{id, 0, std::move(rows)});
  sparse_send_recv_stream(comm, send, recv, nullptr);

  for (const std::vector<TRDATA>& from : recv)
    for (const TRDATA& row : from) map[row.id].insert(row.adjacency.begin(), row.adjacency.end());
}

void merge_graph(int /*comm*/, const GraphMap& /*mine*/, GraphMap& /*map*/) {}

void change_format(const GraphMap& map, std::vector<int>& rowIds, std::vector<int>& rowPtr,
                   std::vector<int>& colIds) {
  rowIds.clear();
  rowIds.reserve(map.size());
  for (const auto& entry : map) rowIds.push_back(entry.first);
  change_format2(map, rowIds, rowPtr, colIds);
}

void change_format2(const GraphMap& map, const std::vector<int>& rowIds, std::vector<int>& rowPtr,
                    std::vector<int>& colIds) {
  rowPtr.assign(1, 0);
  rowPtr.reserve(rowIds.size() + 1);
  colIds.clear();
  for (int id : rowIds) {
    if (auto it = map.find(id); it != map.end()) colIds.insert(colIds.end(), it->second.begin(), it->second.end());
    rowPtr.push_back(int(colIds.size()));
  }
}

}  // namespace velmo::comu
