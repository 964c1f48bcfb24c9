#pragma once

#include "kernels/BlasOps.h"
#include "kernels/Dispatch.h"
#include "kernels/spm.h"

namespace velmo {

// Bodies of BlasOps for one execution space. A zero factor on the output array selects a
// body that never reads that array, so stale NaNs there do not spread.
template <class T, class I, class Space>
struct BlasOpsImpl {
  using R = RealOf<T>;
  using Policy = spm::RangePolicy<Space>;

  VELMO_KERNEL_ENTRY static void fill(const Space& s, I n, T a, T* x) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = a; });
  }

  VELMO_KERNEL_ENTRY static void scal(const Space& s, I n, T a, T* x) {
    if (a == T(0)) {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = T(0); });
    } else {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = x[i] * a; });
    }
  }

  VELMO_KERNEL_ENTRY static void copy(const Space& s, I n, const T* x, T* y) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = x[i]; });
  }

  VELMO_KERNEL_ENTRY static void axpy(const Space& s, I n, T a, const T* x, T* y) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = a * x[i] + y[i]; });
  }

  VELMO_KERNEL_ENTRY static void axpby(const Space& s, I n, T a, const T* x, T b, T* y) {
    if (b == T(0)) {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = a * x[i]; });
    } else {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = a * x[i] + b * y[i]; });
    }
  }

  VELMO_KERNEL_ENTRY static void axpbypz(const Space& s, I n, T a, const T* x, T b, const T* y, T* z) {
    spm::parallel_for(Policy(s, 0, n),
                      VELMO_LAMBDA(long i) { z[i] = a * x[i] + b * y[i] + z[i]; });
  }

  VELMO_KERNEL_ENTRY static void axypbz(const Space& s, I n, T a, const T* x, const T* y, T b, T* z) {
    if (b == T(0)) {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { z[i] = a * x[i] * y[i]; });
    } else {
      spm::parallel_for(Policy(s, 0, n),
                        VELMO_LAMBDA(long i) { z[i] = a * x[i] * y[i] + b * z[i]; });
    }
  }

  VELMO_KERNEL_ENTRY static void axpbypcz(const Space& s, I n, T a, const T* x, T b, const T* y, T c, T* z) {
    if (c == T(0)) {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { z[i] = a * x[i] + b * y[i]; });
    } else {
      spm::parallel_for(Policy(s, 0, n),
                        VELMO_LAMBDA(long i) { z[i] = a * x[i] + b * y[i] + c * z[i]; });
    }
  }

  VELMO_KERNEL_ENTRY static void reciprocal(const Space& s, I n, T a, T* x) {
    if (a == T(0)) {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = T(0); });
    } else {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = reciprocalOf(a, x[i]); });
    }
  }

  VELMO_KERNEL_ENTRY static void pow(const Space& s, I n, T a, T* x) {
    if constexpr (is_complex_v<T>) {
      // Deliberately leaves complex data as it is.
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long) {});
    } else {
      spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { x[i] = powReal(x[i], a); });
    }
  }

  VELMO_KERNEL_ENTRY static void get_real(const Space& s, I n, const T* x, R* y) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = realPart(x[i]); });
  }

  VELMO_KERNEL_ENTRY static void get_imag(const Space& s, I n, const T* x, R* y) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) { y[i] = imagPart(x[i]); });
  }

  VELMO_KERNEL_ENTRY static void create_complex(const Space& s, I n, const R* re, const R* im, Complex<R>* z) {
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long i) {
      z[i] = Complex<R>(re ? re[i] : R(0), im ? im[i] : R(0));
    });
  }

  // Ascending positions need one ordered pass: a range of one.
  VELMO_KERNEL_ENTRY static void get_nonzero_indices(const Space& s, I n, const T* x, I* indices, I* count) {
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

  VELMO_KERNEL_ENTRY static T dot(const Space& s, I n, const T* x, const T* y) {
    T result = T(0);
    spm::Sum<T, Space> sum(&result);
    spm::parallel_reduce(Policy(s, 0, n), VELMO_LAMBDA(long i, T& acc) { acc += conj(x[i]) * y[i]; },
                         sum);
    return result;
  }

  VELMO_KERNEL_ENTRY static T dotu(const Space& s, I n, const T* x, const T* y) {
    T result = T(0);
    spm::Sum<T, Space> sum(&result);
    spm::parallel_reduce(Policy(s, 0, n), VELMO_LAMBDA(long i, T& acc) { acc += x[i] * y[i]; }, sum);
    return result;
  }

  // A NaN never wins `acc < v`, so it never enters a partial.
  VELMO_KERNEL_ENTRY static R abs_max(const Space& s, I n, const T* x) {
    R result = R(0);
    spm::Max<R, Space> max(&result);
    spm::parallel_reduce(Policy(s, 0, n), VELMO_LAMBDA(long i, R& acc) {
      R v = absValue(x[i]);
      if (acc < v) acc = v;
    }, max);
    return result;
  }

  VELMO_KERNEL_ENTRY static R abs_sum(const Space& s, I n, const T* x, R p) {
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
                           VELMO_LAMBDA(long i, R& acc) { acc = addPower(acc, absValue(x[i]), p); }, sum);
    }
    return result;
  }

 private:
  VELMO_HD static T reciprocalOf(const T& a, const T& x) {
    if constexpr (is_complex_v<T>) {
      if (x.re == R(0) && x.im == R(0)) return a;
      R d = R(1) / (x.re * x.re + x.im * x.im);
      return T(d * (a.re * x.re + x.im * a.im), d * (-a.re * x.im + x.re * a.im));
    } else {
      return x == T(0) ? a : a / x;
    }
  }

  // Integer sums take the power in double and truncate the running sum.
  VELMO_HD static R addPower(R acc, R v, R p) {
    if constexpr (std::is_integral_v<R>) {
      return R(double(acc) + ::pow(double(v), double(p)));
    } else {
      return acc + powReal(v, p);
    }
  }
};

template <class To, class From, class I, class Space>
struct MixedBlasOpsImpl {
  VELMO_KERNEL_ENTRY static void copy(const Space& s, I n, const From* x, To* y) {
    spm::parallel_for(spm::RangePolicy<Space>(s, 0, n), VELMO_LAMBDA(long i) { y[i] = To(x[i]); });
  }
};

// The GPU side of these bodies is compiled by nvcc alone, in BlasOpsCuda.cu.
#if defined(VELMO_HAVE_CUDA) && !defined(__CUDACC__)
extern template struct BlasOpsImpl<int, int, spm::Cuda>;
extern template struct BlasOpsImpl<int, long, spm::Cuda>;
extern template struct BlasOpsImpl<long, int, spm::Cuda>;
extern template struct BlasOpsImpl<long, long, spm::Cuda>;
extern template struct BlasOpsImpl<float, int, spm::Cuda>;
extern template struct BlasOpsImpl<float, long, spm::Cuda>;
extern template struct BlasOpsImpl<double, int, spm::Cuda>;
extern template struct BlasOpsImpl<double, long, spm::Cuda>;
extern template struct BlasOpsImpl<Complex<float>, int, spm::Cuda>;
extern template struct BlasOpsImpl<Complex<float>, long, spm::Cuda>;
extern template struct BlasOpsImpl<Complex<double>, int, spm::Cuda>;
extern template struct BlasOpsImpl<Complex<double>, long, spm::Cuda>;
extern template struct MixedBlasOpsImpl<double, float, int, spm::Cuda>;
extern template struct MixedBlasOpsImpl<double, float, long, spm::Cuda>;
extern template struct MixedBlasOpsImpl<float, double, int, spm::Cuda>;
extern template struct MixedBlasOpsImpl<float, double, long, spm::Cuda>;
extern template struct MixedBlasOpsImpl<Complex<double>, Complex<float>, int, spm::Cuda>;
extern template struct MixedBlasOpsImpl<Complex<double>, Complex<float>, long, spm::Cuda>;
extern template struct MixedBlasOpsImpl<Complex<float>, Complex<double>, int, spm::Cuda>;
extern template struct MixedBlasOpsImpl<Complex<float>, Complex<double>, long, spm::Cuda>;
#endif

}  // namespace velmo
