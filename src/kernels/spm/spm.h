#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "utils/HostDevice.h"

// A kernel body. The host space runs it as a plain lambda; under nvcc it is a device lambda.
// (An extended host-device lambda would cost the host an allocation and an indirect call per
// element.)
#if defined(__CUDACC__)
#define VELMO_LAMBDA [=] __device__
#else
#define VELMO_LAMBDA [=]
#endif

// The one place where a loop over an index range becomes work on the host or on a GPU.
namespace spm {

// Host space: a range is cut into at most `threads` chunks, chunk k runs on thread k.
struct OpenMP {
  int threads;
  explicit OpenMP(int t) : threads(t) {}
};

// GPU space: every launch goes to `stream` of device `device`.
struct Cuda {
  void* stream;
  bool owns_stream;
  int device;
  Cuda(void* s, bool owns, int dev) : stream(s), owns_stream(owns), device(dev) {}
  Cuda(const Cuda&) = delete;
  Cuda& operator=(const Cuda&) = delete;
  ~Cuda();
};

template <class Space>
struct RangePolicy {
  const Space* space;
  long begin;
  long end;
  long reserved;  // always -1
  RangePolicy(const Space& s, long b, long e, long r = -1) : space(&s), begin(b), end(e), reserved(r) {}
};

template <class T, class Space>
struct Sum {
  using value_type = T;
  value_type* result;
  value_type init;
  explicit Sum(value_type* target) : result(target), init(T(0)) {}
  VELMO_HD static void join(value_type& dst, const value_type& src) { dst = dst + src; }
};

template <class T, class Space>
struct Max {
  using value_type = T;
  value_type* result;
  value_type init;
  explicit Max(value_type* target) : result(target), init(std::numeric_limits<T>::lowest()) {}
  // An unordered pair (NaN on either side) takes the newer value.
  VELMO_HD static void join(value_type& dst, const value_type& src) {
    if (!(dst > src)) dst = src;
  }
};

void initialize(int argc, char** argv);
void finalize();
bool is_initialized();

// Chunk k of n elements cut into c chunks: the first n % c chunks are one longer.
VELMO_HD inline void chunkBounds(long n, long c, long k, long& start, long& count) {
  long q = n / c;
  long r = n % c;
  if (k < r) {
    count = q + 1;
    start = k * (q + 1);
  } else {
    count = q;
    start = k * q + r;
  }
}

namespace detail {

// Below this size a thread team costs more than the work; the chunks then run in order
// on the calling thread, which gives the same bits.
constexpr long kTeamThreshold = 4096;

// Runs chunk(ctx, k) for every k < c: chunk k on thread k of a team, or all in order on the
// caller for small ranges and nested calls. One region in spm.cpp serves every kernel, so no
// instantiation carries an OpenMP region of its own; the call per chunk costs nothing per
// element.
void runChunks(long n, int c, void (*chunk)(const void* ctx, int k), const void* ctx);

template <class ChunkFn>
void runChunks(long n, int c, const ChunkFn& runChunk) {
  runChunks(n, c, [](const void* ctx, int k) { (*static_cast<const ChunkFn*>(ctx))(k); }, &runChunk);
}

}  // namespace detail

// Chunk k of [0, n) cut by chunkBounds runs as f(k, begin, end) on thread k. `work` stands
// for the elements in the threshold test, for ranges of few but heavy elements (rows of a
// product), which deserve a team that their count alone would not get.
template <class ChunkBody>
void parallel_chunks(const OpenMP& space, long n, long work, const ChunkBody& f) {
  const long c = std::min<long>(n, space.threads);
  if (n <= 0 || c <= 0) return;
  detail::runChunks(std::max(n, work), int(c), [&](int k) {
    long start, count;
    chunkBounds(n, c, k, start, count);
    f(k, start, start + count);
  });
}

template <class Body>
void parallel_for(const RangePolicy<OpenMP>& policy, const Body& body) {
  const long begin = policy.begin;
  parallel_chunks(*policy.space, policy.end - begin, 0, [&body, begin](long, long start, long end) {
    for (long i = begin + start, e = begin + end; i < e; ++i) body(i);
  });
}

template <class Body, class Reducer>
void parallel_reduce(const RangePolicy<OpenMP>& policy, const Body& body, Reducer& reducer) {
  using V = typename Reducer::value_type;
  long n = policy.end - policy.begin;
  long c = std::min<long>(n, policy.space->threads);
  if (n <= 0 || c <= 0) {
    *reducer.result = reducer.init;
    return;
  }
  constexpr int kInline = 64;
  V inlinePartials[kInline];
  std::vector<V> heapPartials(c > kInline ? c : 0);
  V* partials = c > kInline ? heapPartials.data() : inlinePartials;
  const long begin = policy.begin;
  parallel_chunks(*policy.space, n, 0, [&](long k, long start, long end) {
    V acc = reducer.init;
    for (long i = begin + start, e = begin + end; i < e; ++i) body(i, acc);
    partials[k] = acc;
  });
  V result = partials[0];
  for (long k = 1; k < c; ++k) Reducer::join(result, partials[k]);
  *reducer.result = result;
}

}  // namespace spm

// GPU launches exist only where nvcc compiles a space's instantiation unit: a host compiler
// that meets a GPU body finds no launch for it and stops.
#if defined(__CUDACC__)
#include "kernels/spm/spm_cuda.h"
#endif
