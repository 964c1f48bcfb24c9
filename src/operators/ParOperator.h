#pragma once

#include <future>
#include <initializer_list>
#include <memory>
#include <string>

#include "comu/Transport.h"
#include "mat/ParMatrix.h"
#include "utils/Device.h"
#include "utils/FactoryFwd.h"
#include "utils/ParamRecord.h"

namespace velmo {

// Root of every numerical object. The roles below are plain (non-virtual) bases, so one
// class may serve as operator, preconditioner, smoother and solver at once.
class ParOperator {
 public:
  virtual ~ParOperator() = default;

  // Beyond the base design: the parameters in effect once `create` has run, every key the
  // class knows with the value given or its default, and parts as the configuration blocks a
  // user writes. An empty object for a class that reads none.
  virtual const json& getParams() const { return record.get(); }

 protected:
  // What `create` reads through. A class in several roles hides this and overrides getParams
  // so that all its roles share one record.
  ParamRecord& paramRecord() { return record; }

 private:
  ParamRecord record;
};

// A linear operator known only through y = a A x + b y.
template <class Value, class GlobalIndex, class LocalIndex>
class ParMatrixFreeT : public ParOperator {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;

  // Lets a caller wait for a product that was started. With one rank every product is
  // complete on return and nothing fulfils the promise; wait() throws std::future_error
  // when called twice or with no shared state.
  struct AsyncMatVecObject {
    std::promise<int> promise;
    int wait() { return promise.get_future().get(); }
  };

  ~ParMatrixFreeT() override = default;

  virtual int getComm() const = 0;
  virtual Device getDevice() const = 0;
  virtual GlobalIndex getRows() const = 0;
  virtual GlobalIndex getCols() const = 0;
  virtual void aAxpby(Value a, const ParMatrix& x, Value b, ParMatrix& y, AsyncMatVecObject* async = nullptr) = 0;
  // y = a A x + b z, the values aAxpby leaves in a copy of z; an operator that can read z in
  // its product spares the copy, which is most of a residual's extra traffic.
  virtual void aAxpbz(Value a, const ParMatrix& x, Value b, const ParMatrix& z, ParMatrix& y) {
    z.deepCopy(y);
    aAxpby(a, x, b, y, nullptr);
  }
  // y = A x.
  virtual void matVec(const ParMatrix& x, ParMatrix& y, AsyncMatVecObject* async = nullptr) {
    aAxpby(Value(1.0), x, Value(0.0), y, async);
  }

  static Factory<ParMatrixFreeT>& getFactory();
};

template <class Value, class GlobalIndex, class LocalIndex>
class ParPreconditionerT : public ParOperator {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;

  ~ParPreconditionerT() override = default;

  virtual void setup(const ParMatrixFree& A) = 0;
  // y = M^-1 x.
  virtual void precondition(const ParMatrix& x, ParMatrix& y) = 0;

  static Factory<ParPreconditionerT>& getFactory();
};

template <class Value, class GlobalIndex, class LocalIndex>
class ParSmootherT : public ParOperator {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;

  ~ParSmootherT() override = default;

  virtual void setup(const ParMatrixFree& A) = 0;
  // Improves x towards A x = b, starting from x as given.
  virtual void smooth(const ParMatrix& b, ParMatrix& x) = 0;
  // As smooth, for an x that the caller has just filled with zeros: a smoother may skip work
  // that a zero x makes void, and gives the same result.
  virtual void smoothFromZero(const ParMatrix& b, ParMatrix& x) { smooth(b, x); }

  static Factory<ParSmootherT>& getFactory();
};

// An iterative method, with the parameters and the progress log that all methods share.
template <class Value, class GlobalIndex, class LocalIndex>
class ParSolverT : public ParOperator {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;
  using ParPreconditioner = ParPreconditionerT<Value, GlobalIndex, LocalIndex>;

  ~ParSolverT() override = default;

  virtual void setup(const ParMatrixFree& A) = 0;
  virtual void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
                     double& res) = 0;
  // Solves with the held preconditioner, the identity when none was set.
  virtual void solve(ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter, double& res);

  // Reads "verbose", "rtol" and "max_its" where present.
  void create(const json& params);

  void setPreconditioner(std::shared_ptr<ParPreconditioner> M) { preconditioner = std::move(M); }
  std::shared_ptr<ParPreconditioner> getPreconditioner() const { return preconditioner; }

  // Whether the latest solve met its stopping test; false before any solve and for methods
  // that do not iterate.
  bool converged() const { return lastConverged; }

  // Progress lines at INFO level, written only when verbose > 0, on rank 0.
  void beginSolve();
  void logSolverStatus(int iter, double res, double res_r0, double res_b);
  // Every solve that began ends here: the outcome becomes what converged() reports, whatever
  // the verbosity, and the closing line is logged.
  void finishSolve(int iter, int max_its, double res_b, bool converged);

  static Factory<ParSolverT>& getFactory();

 protected:
  // Takes this rank's place in the operator's communicator; the log lines appear on rank 0.
  void takeCommunicator(const ParMatrixFree& A) {
    commSize = comu::commSize(A.getComm());
    rank = comu::commRank(A.getComm());
  }
  // The first step of the iterative methods: a zero b has the solution zero, reached with
  // nothing logged and iter and res left as they were. Returns whether b was zero.
  bool solveZeroRhs(double norm_b, ParMatrix& x);
  // r = b - A x, without the product for the usual zero start (x zero by its 1-norm).
  // Returns the 2-norm of r.
  static double startResidual(ParMatrixFree& A, const ParMatrix& b, const ParMatrix& x, ParMatrix& r);
  // Gives each work vector A's rows, device and communicator; a vector already so shaped
  // keeps its storage, so repeated solves allocate nothing.
  static void shapeLike(const ParMatrixFree& A, std::initializer_list<ParMatrix*> vectors);

  std::shared_ptr<ParPreconditioner> preconditioner;
  int commSize = 1;
  int rank = 0;
  // Set by the concrete method's create, e.g. "PCG".
  std::string name;
  int verbose = 0;
  double rtol = 1e-8;
  int max_its = 2000;

 private:
  bool logs() const { return verbose > 0 && rank == 0; }

  bool lastConverged = false;
};

// A relaxation usable in all three roles.
template <class Value, class GlobalIndex, class LocalIndex>
class ParOpBaseT : public ParSmootherT<Value, GlobalIndex, LocalIndex>,
                   public ParPreconditionerT<Value, GlobalIndex, LocalIndex>,
                   public ParSolverT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;

  ~ParOpBaseT() override = default;

  // One setup serves all three roles.
  void setup(const ParMatrixFree& A) override = 0;

  // The solver role's record serves all three roles.
  const json& getParams() const override { return ParSolverT<Value, GlobalIndex, LocalIndex>::getParams(); }

  static Factory<ParOpBaseT>& getFactory();

 protected:
  ParamRecord& paramRecord() { return ParSolverT<Value, GlobalIndex, LocalIndex>::paramRecord(); }
};

// The identity in three roles: "Identity", "PrecondIdentity" and "SolverPreOnly". Its
// product ignores both scalars and copies x into y.
template <class Value, class GlobalIndex, class LocalIndex>
class ParOperatorIdentityT : public ParMatrixFreeT<Value, GlobalIndex, LocalIndex>,
                             public ParPreconditionerT<Value, GlobalIndex, LocalIndex>,
                             public ParSolverT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;
  using ParPreconditioner = ParPreconditionerT<Value, GlobalIndex, LocalIndex>;
  using ParSolver = ParSolverT<Value, GlobalIndex, LocalIndex>;
  using AsyncMatVecObject = typename ParMatrixFree::AsyncMatVecObject;
  using ParSolver::solve;

  ~ParOperatorIdentityT() override = default;

  int getComm() const override { return comu::kCommWorld; }
  Device getDevice() const override { return Device(0, 0); }
  GlobalIndex getRows() const override { return 0; }
  GlobalIndex getCols() const override { return 0; }
  void aAxpby(Value, const ParMatrix& x, Value, ParMatrix& y, AsyncMatVecObject* = nullptr) override {
    x.deepCopy(y);
  }

  // The solver role's create is the one the factories call, in every role.
  const json& getParams() const override { return ParSolver::getParams(); }

  void setup(const ParMatrixFree&) override {}
  void precondition(const ParMatrix& x, ParMatrix& y) override { x.deepCopy(y); }
  // x = M b; A is not used and iter and res are left as they are.
  void solve(ParPreconditioner& M, ParMatrixFree&, const ParMatrix& b, ParMatrix& x, int&, double&) override {
    M.precondition(b, x);
  }
};

}  // namespace velmo
