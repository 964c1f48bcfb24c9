#pragma once

// The type combinations every kernel family is built for: one list serves the public
// families and each execution space's instantiation unit, so the spaces cannot drift apart.
#define VELMO_FOR_EACH_KERNEL_TYPE(X) \
  X(int, int)                         \
  X(int, long)                        \
  X(long, int)                        \
  X(long, long)                       \
  X(float, int)                       \
  X(float, long)                      \
  X(double, int)                      \
  X(double, long)                     \
  X(Complex<float>, int)              \
  X(Complex<float>, long)             \
  X(Complex<double>, int)             \
  X(Complex<double>, long)

// Precision conversions: (to, from, index).
#define VELMO_FOR_EACH_MIXED_KERNEL_TYPE(X)     \
  X(double, float, int)                         \
  X(double, float, long)                        \
  X(float, double, int)                         \
  X(float, double, long)                        \
  X(Complex<double>, Complex<float>, int)       \
  X(Complex<double>, Complex<float>, long)      \
  X(Complex<float>, Complex<double>, int)       \
  X(Complex<float>, Complex<double>, long)

// Classical coarsening (value, global index, local index): real values with either global
// index, complex ones with long.
#define VELMO_FOR_EACH_LEVEL_TRANSFER_TYPE(X) \
  X(float, int, int)                          \
  X(float, long, int)                         \
  X(double, int, int)                         \
  X(double, long, int)                        \
  X(Complex<float>, long, int)                \
  X(Complex<double>, long, int)
