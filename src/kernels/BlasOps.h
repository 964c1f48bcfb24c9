#pragma once

#include "utils/Complex.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

namespace velmo {

// Elementwise and reducing operations on raw arrays that live on `dev`.
template <class T, class I>
struct BlasOps {
  using R = RealOf<T>;

  static void fill(const Device& dev, I n, T a, T* x);
  static void scal(const Device& dev, I n, T a, T* x);
  static void copy(const Device& dev, I n, const T* x, T* y);
  static void axpy(const Device& dev, I n, T a, const T* x, T* y);
  static void axpby(const Device& dev, I n, T a, const T* x, T b, T* y);
  static void axpbypz(const Device& dev, I n, T a, const T* x, T b, const T* y, T* z);
  static void axypbz(const Device& dev, I n, T a, const T* x, const T* y, T b, T* z);
  static void axpbypcz(const Device& dev, I n, T a, const T* x, T b, const T* y, T c, T* z);
  static void reciprocal(const Device& dev, I n, T a, T* x);
  static void pow(const Device& dev, I n, T a, T* x);
  static void get_real(const Device& dev, I n, const T* x, R* y);
  static void get_imag(const Device& dev, I n, const T* x, R* y);
  static void create_complex(const Device& dev, I n, const R* re, const R* im, Complex<R>* z);
  // Ascending positions of the non-zero elements; a null `indices` only counts.
  static void get_nonzero_indices(const Device& dev, I n, const T* x, I* indices, I* count);

  static T dot(const Device& dev, I n, const T* x, const T* y);
  static T dotu(const Device& dev, I n, const T* x, const T* y);
  static R abs_max(const Device& dev, I n, const T* x);
  // Sum of |x|^p, without the root.
  static R abs_sum(const Device& dev, I n, const T* x, R p);
};

// Conversion between precisions.
template <class To, class From, class I>
struct MixedBlasOps {
  static void copy(const Device& dev, I n, const From* x, To* y);
};

}  // namespace velmo
