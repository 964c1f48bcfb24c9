#pragma once

// GPU launches of the spm layer; seen only by nvcc.
#include <cuda_runtime.h>

#include <cstdio>

namespace spm {

constexpr int kBlockSize = 512;
constexpr int kReducePartials = 256;

template <class Body>
__global__ void spmKernelFor(long nthreads, long begin, long end, Body body) {
  long t = long(blockIdx.x) * blockDim.x + threadIdx.x;
  if (t >= nthreads) return;
  long start, count;
  chunkBounds(end - begin, nthreads, t, start, count);
  for (long i = 0; i < count; ++i) body(begin + start + i);
}

template <class Body, class Reducer>
__global__ void spmKernelReduce(long nthreads, long begin, long end, Body body,
                                typename Reducer::value_type* partials, Reducer reducer) {
  long t = long(blockIdx.x) * blockDim.x + threadIdx.x;
  if (t >= nthreads) return;
  long start, count;
  chunkBounds(end - begin, nthreads, t, start, count);
  typename Reducer::value_type acc = reducer.init;
  for (long i = 0; i < count; ++i) body(begin + start + i, acc);
  partials[t] = acc;
}

template <class Reducer>
__global__ void spmKernelReduceSmallArray(int count, typename Reducer::value_type* partials,
                                          Reducer reducer) {
  for (int k = 1; k < count; ++k) Reducer::join(partials[0], partials[k]);
}

template <class Body>
void parallel_for(const RangePolicy<Cuda>& policy, const Body& body) {
  long n = policy.end - policy.begin;
  if (n <= 0) return;
  auto stream = static_cast<cudaStream_t>(policy.space->stream);
  int blocks = (int(n) + kBlockSize - 1) / kBlockSize;
  spmKernelFor<<<blocks, kBlockSize, 0, stream>>>(n, policy.begin, policy.end, body);
  cudaStreamSynchronize(stream);
}

template <class Body, class Reducer>
void parallel_reduce(const RangePolicy<Cuda>& policy, const Body& body, Reducer& reducer) {
  using V = typename Reducer::value_type;
  long n = policy.end - policy.begin;
  if (n <= 0) {
    *reducer.result = reducer.init;
    return;
  }
  auto stream = static_cast<cudaStream_t>(policy.space->stream);
  int c = int(n < kReducePartials ? n : kReducePartials);
  V* partials = nullptr;
  cudaMallocAsync(reinterpret_cast<void**>(&partials), sizeof(V) * c, stream);
  if (partials == nullptr) {
    printf("cuda can not alloc memory for stream %p\n", static_cast<void*>(stream));
    return;
  }
  spmKernelReduce<<<1, kBlockSize, 0, stream>>>(long(c), policy.begin, policy.end, body, partials,
                                                reducer);
  spmKernelReduceSmallArray<<<1, 1, 0, stream>>>(c, partials, reducer);
  cudaMemcpyAsync(reducer.result, partials, sizeof(V), cudaMemcpyDeviceToHost, stream);
  cudaFreeAsync(partials, stream);
  cudaStreamSynchronize(stream);
}

}  // namespace spm
