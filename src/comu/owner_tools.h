#pragma once

#include <vector>

// The owner query: which rank holds a global number. Collective over the communicator.
namespace velmo::comu {

// Picks the rendezvous rank that decides about `id`.
using OwnerHash = int (*)(int id, void* context);

// owners[i] becomes the lowest rank that asked about ids[i]. Requests meet at hash(id, context),
// or at rank 0 without a hash. A repeated id gets one, equal, answer per occurrence.
void get_owner_rank_ex(int comm, int n, const int* ids, OwnerHash hash, void* context, int* owners);
void get_owner_rank(int comm, int n, const int* ids, int* owners);
// Sizes `owners` to `ids`.
void get_owner_rank(int comm, const std::vector<int>& ids, std::vector<int>& owners);

}  // namespace velmo::comu
