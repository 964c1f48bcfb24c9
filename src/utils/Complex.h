#pragma once

#include <cmath>
#include <ostream>

#include "utils/HostDevice.h"

namespace velmo {

// Plain pair usable in device code, where std::complex operators are host-only.
template <class T>
struct Complex {
  T re;
  T im;

  VELMO_HD constexpr Complex() : re(0), im(0) {}
  VELMO_HD constexpr Complex(T r) : re(r), im(0) {}
  VELMO_HD constexpr Complex(T r, T i) : re(r), im(i) {}
  template <class U>
  VELMO_HD constexpr explicit Complex(const Complex<U>& o) : re(T(o.re)), im(T(o.im)) {}

  VELMO_HD constexpr T real() const { return re; }
  VELMO_HD constexpr T imag() const { return im; }

  VELMO_HD Complex& operator+=(const Complex& o) { re += o.re; im += o.im; return *this; }
  VELMO_HD Complex& operator-=(const Complex& o) { re -= o.re; im -= o.im; return *this; }
  VELMO_HD Complex& operator*=(const Complex& o) { *this = *this * o; return *this; }
  VELMO_HD Complex& operator/=(const Complex& o) { *this = *this / o; return *this; }

  VELMO_HD friend constexpr Complex operator+(const Complex& a, const Complex& b) {
    return Complex(a.re + b.re, a.im + b.im);
  }
  VELMO_HD friend constexpr Complex operator-(const Complex& a, const Complex& b) {
    return Complex(a.re - b.re, a.im - b.im);
  }
  VELMO_HD friend constexpr Complex operator-(const Complex& a) { return Complex(-a.re, -a.im); }
  VELMO_HD friend constexpr Complex operator*(const Complex& a, const Complex& b) {
    return Complex(a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re);
  }
  VELMO_HD friend Complex operator/(const Complex& a, const Complex& b) {
    T d = T(1) / (b.re * b.re + b.im * b.im);
    return Complex((a.re * b.re + a.im * b.im) * d, (a.im * b.re - a.re * b.im) * d);
  }
  VELMO_HD friend constexpr bool operator==(const Complex& a, const Complex& b) {
    return a.re == b.re && a.im == b.im;
  }
  VELMO_HD friend constexpr bool operator!=(const Complex& a, const Complex& b) { return !(a == b); }

  friend std::ostream& operator<<(std::ostream& os, const Complex& c) {
    return os << '(' << c.re << ',' << c.im << ')';
  }
};

}  // namespace velmo
