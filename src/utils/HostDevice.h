#pragma once

// Marks a function or lambda that one body serves on the host and, under nvcc, on the GPU.
#if defined(__CUDACC__)
#define VELMO_HD __host__ __device__
#define VELMO_LAMBDA [=] __host__ __device__
#else
#define VELMO_HD
#define VELMO_LAMBDA [=]
#endif
