#include "comu/owner_tools.h"

#include <map>

#include "comu/Stream.h"
#include "comu/Transport.h"
#include "comu/communication_tools.h"

namespace velmo::comu {

void get_owner_rank_ex(int comm, int n, const int* ids, OwnerHash hash, void* context, int* owners) {
  const int size = commSize(comm), me = commRank(comm);
  std::vector<std::vector<DATA>> requests(static_cast<size_t>(size)), received;
  for (int i = 0; i < n; ++i) {
    const int rendezvous = hash != nullptr ? hash(ids[i], context) : 0;
    requests[size_t(rendezvous)].push_back(DATA{ids[i], me});
  }
  sparse_send_recv(comm, requests, received, false);

  // At the rendezvous: the lowest rank that asked about an id owns it.
  std::map<int, int> lowest;
  for (const std::vector<DATA>& from : received)
    for (const DATA& d : from) {
      auto [it, inserted] = lowest.emplace(d.id, d.rank);
      if (!inserted && d.rank < it->second) it->second = d.rank;
    }
  for (std::vector<DATA>& from : received)
    for (DATA& d : from) d.rank = lowest[d.id];

  // The answers have the shape of the requests.
  std::vector<std::vector<DATA>> answers = requests;
  sparse_send_recv(comm, received, answers, true);
  std::map<int, int> owner;
  for (const std::vector<DATA>& from : answers)
    for (const DATA& d : from) owner[d.id] = d.rank;
  for (int i = 0; i < n; ++i) owners[i] = owner[ids[i]];
}

void get_owner_rank(int comm, int n, const int* ids, int* owners) {
  get_owner_rank_ex(comm, n, ids, nullptr, nullptr, owners);
}

void get_owner_rank(int comm, const std::vector<int>& ids, std::vector<int>& owners) {
  owners.resize(ids.size());
  get_owner_rank(comm, int(ids.size()), ids.data(), owners.data());
}

}  // namespace velmo::comu
