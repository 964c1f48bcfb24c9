#include "comu/ghost_tools.h"

#include <cstddef>
#include <map>

#include "comu/Transport.h"
#include "comu/communication_tools.h"
#include "comu/graph_tools.h"
#include "comu/owner_tools.h"

namespace velmo::comu {

using std::size_t;

// Only the adjacency matters: a symmetric graph's ghosts are its foreign neighbours.
void get_sym_ghost_info(int comm, const std::vector<int>& /*rowIds*/, const std::vector<int>& rowPtr,
                        const std::vector<int>& colIds, std::vector<std::vector<int>>& sendLists,
                        std::vector<std::vector<int>>& recvLists, std::vector<int>& ghostIds,
                        std::vector<int>& ghostOwners) {
  const int me = commRank(comm);
  std::vector<int> owners;
  get_owner_rank(comm, colIds, owners);

  std::map<int, int> ghosts;  // id -> owner: duplicates collapse, ids come out sorted
  for (size_t i = 0; i + 1 < rowPtr.size(); ++i)
    for (int k = rowPtr[i]; k < rowPtr[i + 1]; ++k)
      if (owners[size_t(k)] != me) ghosts.emplace(colIds[size_t(k)], owners[size_t(k)]);

  ghostIds.clear();
  ghostOwners.clear();
  recvLists.assign(size_t(commSize(comm)), {});
  for (const auto& [id, owner] : ghosts) {
    ghostIds.push_back(id);
    ghostOwners.push_back(owner);
    recvLists[size_t(owner)].push_back(id);
  }
  sparse_send_recv(comm, recvLists, sendLists, false);
}

void get_unsym_ghost_info(int comm, const std::vector<int>& rowIds, const std::vector<int>& rowPtr,
                          const std::vector<int>& colIds, std::vector<std::vector<int>>& sendLists,
                          std::vector<std::vector<int>>& recvLists, std::vector<int>& ghostIds,
                          std::vector<int>& ghostOwners) {
  GraphMap transposed;
  transpose_matrix(comm, rowIds, rowPtr, colIds, transposed);
  GraphMap symmetric;
  for (size_t i = 0; i + 1 < rowPtr.size(); ++i) {
    std::set<int>& row = symmetric[rowIds[i]];
    row.insert(colIds.begin() + rowPtr[i], colIds.begin() + rowPtr[i + 1]);
    if (auto it = transposed.find(rowIds[i]); it != transposed.end()) row.insert(it->second.begin(), it->second.end());
  }
  std::vector<int> symPtr, symCols;
  change_format2(symmetric, rowIds, symPtr, symCols);
  get_sym_ghost_info(comm, rowIds, symPtr, symCols, sendLists, recvLists, ghostIds, ghostOwners);
}

}  // namespace velmo::comu
