#pragma once

// The type combinations of the distributed containers (value, global index; the local index
// is int): one list for every unit that instantiates their members.
#define VELMO_FOR_EACH_PAR_MATRIX_TYPE(X) \
  X(int, int)                             \
  X(long, int)                            \
  X(float, int)                           \
  X(double, int)                          \
  X(Complex<float>, int)                  \
  X(Complex<double>, int)                 \
  X(int, long)                            \
  X(long, long)                           \
  X(float, long)                          \
  X(double, long)                         \
  X(Complex<float>, long)                 \
  X(Complex<double>, long)
