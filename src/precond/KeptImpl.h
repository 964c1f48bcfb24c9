#pragma once

#include <memory>

namespace velmo {

// The results of a sequential strategy's latest call, kept for inspection when asked (set by
// no key); kept results also carry the coarse operator P^T A P.
template <class Impl>
class KeptImpl {
 public:
  void setKeepImpl(bool keep) { keep_impl = keep; }
  std::shared_ptr<Impl> getImpl() const { return impl; }

 protected:
  // The results of this call, in the kept ones' place.
  Impl& beginImpl() {
    if (!impl) impl = std::make_shared<Impl>();
    return *impl;
  }
  // Forms Ac from the call's A and P when the results are kept, and drops them otherwise.
  void endImpl() {
    if (!keep_impl) {
      impl.reset();
      return;
    }
    decltype(impl->P) Rt, T;
    impl->P.transpose(Rt);
    impl->A.multiply(impl->P, T);
    Rt.multiply(T, impl->Ac);
  }

  std::shared_ptr<Impl> impl;
  bool keep_impl = false;
};

}  // namespace velmo
