#pragma once

#include "kernels/BlasOps.h"
#include "kernels/spm/spm.h"

namespace velmo {

// BlasOps for one execution space. Declarations only: the bodies (BlasOpsBodies.h) are
// compiled by each space's instantiation unit alone, so a space left out fails to link.
template <class T, class I, class Space>
struct BlasOpsImpl {
  using R = RealOf<T>;
  using Policy = spm::RangePolicy<Space>;

  static void fill(const Space& s, I n, T a, T* x);
  static void scal(const Space& s, I n, T a, T* x);
  static void copy(const Space& s, I n, const T* x, T* y);
  static void axpy(const Space& s, I n, T a, const T* x, T* y);
  static void axpby(const Space& s, I n, T a, const T* x, T b, T* y);
  static void axpbypz(const Space& s, I n, T a, const T* x, T b, const T* y, T* z);
  static void axypbz(const Space& s, I n, T a, const T* x, const T* y, T b, T* z);
  static void axpbypcz(const Space& s, I n, T a, const T* x, T b, const T* y, T c, T* z);
  static void reciprocal(const Space& s, I n, T a, T* x);
  static void pow(const Space& s, I n, T a, T* x);
  static void get_real(const Space& s, I n, const T* x, R* y);
  static void get_imag(const Space& s, I n, const T* x, R* y);
  static void create_complex(const Space& s, I n, const R* re, const R* im, Complex<R>* z);
  static void get_nonzero_indices(const Space& s, I n, const T* x, I* indices, I* count);
  static T dot(const Space& s, I n, const T* x, const T* y);
  static T dotu(const Space& s, I n, const T* x, const T* y);
  static R abs_max(const Space& s, I n, const T* x);
  static R abs_sum(const Space& s, I n, const T* x, R p);
};

template <class To, class From, class I, class Space>
struct MixedBlasOpsImpl {
  static void copy(const Space& s, I n, const From* x, To* y);
};

}  // namespace velmo
