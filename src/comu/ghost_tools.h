#pragma once

#include <vector>

// Ghost lists of a distributed graph in CSR form (see graph_tools.h). Collective.
//
// ghostIds: the adjacency ids owned by other ranks, ascending, each once, with ghostOwners
// their owners. recvLists[r]: the ghosts owned by rank r, in ascending order. sendLists[r]:
// the ids of this rank that rank r holds as ghosts.
namespace velmo::comu {

// The adjacency must be symmetric across ranks.
void get_sym_ghost_info(int comm, const std::vector<int>& rowIds, const std::vector<int>& rowPtr,
                        const std::vector<int>& colIds, std::vector<std::vector<int>>& sendLists,
                        std::vector<std::vector<int>>& recvLists, std::vector<int>& ghostIds,
                        std::vector<int>& ghostOwners);

// Any adjacency: symmetrised with the transposed graph first.
void get_unsym_ghost_info(int comm, const std::vector<int>& rowIds, const std::vector<int>& rowPtr,
                          const std::vector<int>& colIds, std::vector<std::vector<int>>& sendLists,
                          std::vector<std::vector<int>>& recvLists, std::vector<int>& ghostIds,
                          std::vector<int>& ghostOwners);

}  // namespace velmo::comu
