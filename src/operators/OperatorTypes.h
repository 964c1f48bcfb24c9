#pragma once

// The type combinations the operator tree is built for (value, global index, local index):
// one list for every unit that instantiates an operator family.
#define VELMO_FOR_EACH_OPERATOR_TYPE(X) \
  X(float, long, int)                   \
  X(double, long, int)                  \
  X(Complex<float>, long, int)          \
  X(Complex<double>, long, int)         \
  X(float, int, int)                    \
  X(double, int, int)                   \
  X(Complex<float>, int, int)           \
  X(Complex<double>, int, int)
