#pragma once

// Marks a function that one body serves on the host and, under nvcc, on the GPU.
#if defined(__CUDACC__)
#define VELMO_HD __host__ __device__
#else
#define VELMO_HD
#endif
