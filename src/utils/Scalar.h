#pragma once

#include <cmath>
#include <cstdlib>
#include <type_traits>

#include "utils/Complex.h"
#include "utils/HostDevice.h"

// Per-type arithmetic that kernels share between real, integer and complex scalars.
namespace velmo {

template <class T>
struct ScalarTraits {
  using Real = T;
  static constexpr bool is_complex = false;
};
template <class T>
struct ScalarTraits<Complex<T>> {
  using Real = T;
  static constexpr bool is_complex = true;
};

template <class T>
using RealOf = typename ScalarTraits<T>::Real;
template <class T>
inline constexpr bool is_complex_v = ScalarTraits<T>::is_complex;

template <class T>
VELMO_HD inline T conj(const T& x) { return x; }
template <class T>
VELMO_HD inline Complex<T> conj(const Complex<T>& x) { return Complex<T>(x.re, -x.im); }

template <class T>
VELMO_HD inline T realPart(const T& x) { return x; }
template <class T>
VELMO_HD inline T realPart(const Complex<T>& x) { return x.re; }

template <class T>
VELMO_HD inline T imagPart(const T&) { return T(0); }
template <class T>
VELMO_HD inline T imagPart(const Complex<T>& x) { return x.im; }

VELMO_HD inline float sqrtReal(float x) { return sqrtf(x); }
VELMO_HD inline double sqrtReal(double x) { return sqrt(x); }

VELMO_HD inline int absValue(int x) { return x < 0 ? -x : x; }
VELMO_HD inline long absValue(long x) { return x < 0 ? -x : x; }
VELMO_HD inline float absValue(float x) { return fabsf(x); }
VELMO_HD inline double absValue(double x) { return fabs(x); }
template <class T>
VELMO_HD inline T absValue(const Complex<T>& x) { return sqrtReal(x.re * x.re + x.im * x.im); }

// |x|^2 written as the kernels state it: x * x for a real, re^2 + im^2 for a complex.
template <class T>
VELMO_HD inline T absSquare(const T& x) { return x * x; }
template <class T>
VELMO_HD inline T absSquare(const Complex<T>& x) { return x.re * x.re + x.im * x.im; }

VELMO_HD inline float powReal(float x, float p) { return powf(x, p); }
VELMO_HD inline double powReal(double x, double p) { return pow(x, p); }
// Integer powers go through double and truncate toward zero.
VELMO_HD inline int powReal(int x, int p) { return int(pow(double(x), double(p))); }
VELMO_HD inline long powReal(long x, long p) { return long(pow(double(x), double(p))); }

}  // namespace velmo
