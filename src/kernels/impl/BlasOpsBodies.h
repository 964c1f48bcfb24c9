#pragma once

#include "kernels/impl/BlasOpsImpl.h"

namespace velmo {

// Bodies of BlasOps, included only by the instantiation unit of each execution space. A zero
// factor on the output array selects a body that never reads that array, so stale NaNs there
// do not spread.

namespace detail {

template <class T>
VELMO_HD T reciprocalOf(const T& a, const T& x) {
  using R = RealOf<T>;
  if constexpr (is_complex_v<T>) {
    if (x.re == R(0) && x.im == R(0)) return a;
    R d = R(1) / (x.re * x.re + x.im * x.im);
    return T(d * (a.re * x.re + x.im * a.im), d * (-a.re * x.im + x.re * a.im));
  } else {
    return x == T(0) ? a : a / x;
  }
}

// Integer sums take the power in double and truncate the running sum.
template <class R>
VELMO_HD R addPower(R acc, R v, R p) {
  if constexpr (std::is_integral_v<R>) {
    return R(double(acc) + ::pow(double(v), double(p)));
  } else {
    return acc + powReal(v, p);
  }
}

}  // namespace detail

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::fill(const Space& s, I n, T a, T* x) {
  spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = a; });
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::scal(const Space& s, I n, T a, T* x) {
  if (a == T(0)) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = T(0); });
  } else {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = x[i] * a; });
  }
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::copy(const Space& s, I n, const T* x, T* y) {
  spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = x[i]; });
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::axpy(const Space& s, I n, T a, const T* x, T* y) {
  spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = a * x[i] + y[i]; });
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::axpby(const Space& s, I n, T a, const T* x, T b, T* y) {
  if (b == T(0)) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = a * x[i]; });
  } else {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = a * x[i] + b * y[i]; });
  }
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::axpbypz(const Space& s, I n, T a, const T* x, T b, const T* y, T* z) {
  spm::parallel_for(Policy(s, 0, n),
                    VELMO_LAMBDA(long i) { z[i] = a * x[i] + b * y[i] + z[i]; });
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::axypbz(const Space& s, I n, T a, const T* x, const T* y, T b, T* z) {
  if (b == T(0)) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { z[i] = a * x[i] * y[i]; });
  } else {
    spm::parallel_for(Policy(s, 0, n),
                      VELMO_LAMBDA(long i) { z[i] = a * x[i] * y[i] + b * z[i]; });
  }
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::axpbypcz(const Space& s, I n, T a, const T* x, T b, const T* y, T c, T* z) {
  if (c == T(0)) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { z[i] = a * x[i] + b * y[i]; });
  } else {
    spm::parallel_for(Policy(s, 0, n),
                      VELMO_LAMBDA(long i) { z[i] = a * x[i] + b * y[i] + c * z[i]; });
  }
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::reciprocal(const Space& s, I n, T a, T* x) {
  if (a == T(0)) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = T(0); });
  } else {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = detail::reciprocalOf(a, x[i]); });
  }
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::pow(const Space& s, I n, T a, T* x) {
  if constexpr (is_complex_v<T>) {
    // Deliberately leaves complex data as it is.
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long) {});
  } else {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = powReal(x[i], a); });
  }
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::get_real(const Space& s, I n, const T* x, R* y) {
  spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = realPart(x[i]); });
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::get_imag(const Space& s, I n, const T* x, R* y) {
  spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = imagPart(x[i]); });
}

template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::create_complex(const Space& s, I n, const R* re, const R* im, Complex<R>* z) {
  spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) {
    z[i] = Complex<R>(re ? re[i] : R(0), im ? im[i] : R(0));
  });
}

// Ascending positions need one ordered pass: a range of one.
template <class T, class I, class Space>
void BlasOpsImpl<T, I, Space>::get_nonzero_indices(const Space& s, I n, const T* x, I* indices, I* count) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    I k = 0;
    for (I i = 0; i < n; ++i) {
      if (!(x[i] == T(0))) {
        if (indices) indices[k] = i;
        ++k;
      }
    }
    *count = k;
  });
}

template <class T, class I, class Space>
T BlasOpsImpl<T, I, Space>::dot(const Space& s, I n, const T* x, const T* y) {
  T result = T(0);
  spm::Sum<T, Space> sum(&result);
  spm::parallel_reduce(Policy(s, 0, n), VELMO_LAMBDA(long i, T& acc) { acc += conj(x[i]) * y[i]; },
                       sum);
  return result;
}

template <class T, class I, class Space>
T BlasOpsImpl<T, I, Space>::dotu(const Space& s, I n, const T* x, const T* y) {
  T result = T(0);
  spm::Sum<T, Space> sum(&result);
  spm::parallel_reduce(Policy(s, 0, n), VELMO_LAMBDA(long i, T& acc) { acc += x[i] * y[i]; }, sum);
  return result;
}

// A NaN never wins `acc < v`, so it never enters a partial.
template <class T, class I, class Space>
typename BlasOpsImpl<T, I, Space>::R BlasOpsImpl<T, I, Space>::abs_max(const Space& s, I n, const T* x) {
  R result = R(0);
  spm::Max<R, Space> max(&result);
  spm::parallel_reduce(Policy(s, 0, n), VELMO_LAMBDA(long i, R& acc) {
    R v = absValue(x[i]);
    if (acc < v) acc = v;
  }, max);
  return result;
}

template <class T, class I, class Space>
typename BlasOpsImpl<T, I, Space>::R BlasOpsImpl<T, I, Space>::abs_sum(const Space& s, I n, const T* x, R p) {
  R result = R(0);
  spm::Sum<R, Space> sum(&result);
  if (p == R(1)) {
    spm::parallel_reduce(Policy(s, 0, n), VELMO_LAMBDA(long i, R& acc) { acc += absValue(x[i]); },
                         sum);
  } else if (p == R(2)) {
    spm::parallel_reduce(Policy(s, 0, n), VELMO_LAMBDA(long i, R& acc) { acc += absSquare(x[i]); },
                         sum);
  } else {
    spm::parallel_reduce(Policy(s, 0, n),
                         VELMO_LAMBDA(long i, R& acc) { acc = detail::addPower(acc, absValue(x[i]), p); }, sum);
  }
  return result;
}

template <class To, class From, class I, class Space>
void MixedBlasOpsImpl<To, From, I, Space>::copy(const Space& s, I n, const From* x, To* y) {
  spm::parallel_for(spm::RangePolicy<Space>(s, 0, n), VELMO_LAMBDA(long i) { y[i] = To(x[i]); });
}

}  // namespace velmo
