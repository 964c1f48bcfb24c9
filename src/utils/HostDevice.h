#pragma once

// Marks a function that one body serves on the host and, under nvcc, on the GPU.
#if defined(__CUDACC__)
#define VELMO_HD __host__ __device__
#else
#define VELMO_HD
#endif

// A kernel body. Each execution space instantiates the bodies in its own compiler: the
// host space in plain C++, the GPU space in nvcc, where the body is a device lambda. (An
// extended host-device lambda would cost the host an allocation and an indirect call per
// element.)
#if defined(__CUDACC__)
#define VELMO_LAMBDA [=] __device__
#else
#define VELMO_LAMBDA [=]
#endif

// Launching members of the kernel implementations: never inlined, so that the host
// compiler calls the GPU instantiations made by nvcc instead of instantiating them itself.
#define VELMO_KERNEL_ENTRY [[gnu::noinline]]
