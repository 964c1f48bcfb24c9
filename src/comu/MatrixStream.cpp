#include "comu/MatrixStream.h"

#include "utils/Complex.h"

namespace velmo::comu {

template <class Value>
int getStreamSize(const CSRMatrixT<Value, int>& m) {
  const int rows = m.getRows(), nnzs = m.getNnzs();
  int size = rows < 0 ? 12 : 16 + 4 * rows;
  if (nnzs > 0) size += nnzs * (4 + int(sizeof(Value)));
  return size;
}

template <class Value>
void packStream(Stream& stream, const CSRMatrixT<Value, int>& m) {
  CHECK(m.getDevice().type == 0) << "packStream: matrix must be on the host";
  const int rows = m.getRows(), cols = m.getCols(), nnzs = m.getNnzs();
  stream.pushBack(&rows, 4);
  stream.pushBack(&cols, 4);
  stream.pushBack(&nnzs, 4);
  const int* row_ptr = m.getRowPtr();
  for (int i = 0; i <= rows; ++i) {
    const int offset = row_ptr != nullptr ? row_ptr[i] : 0;
    stream.pushBack(&offset, 4);
  }
  if (nnzs <= 0) return;
  const int* col_idx = m.getColIdx();
  const Value* values = m.getValues();
  for (int k = 0; k < nnzs; ++k) stream.pushBack(col_idx + k, 4);
  for (int k = 0; k < nnzs; ++k) stream.pushBack(values + k, int(sizeof(Value)));
}

template <class Value>
void unpackStream(Stream& stream, CSRMatrixT<Value, int>& m) {
  CHECK(m.getDevice().type == 0) << "unpackStream: matrix must be on the host";
  int rows = 0, cols = 0, nnzs = 0;
  stream.popFront(&rows, 4);
  stream.popFront(&cols, 4);
  stream.popFront(&nnzs, 4);
  m.create(rows, cols, nnzs, m.getDevice());
  // Without rows there is no row_ptr, and the single offset is skipped.
  int* row_ptr = m.getRowPtr();
  for (int i = 0; i <= rows; ++i) stream.popFront(row_ptr != nullptr ? row_ptr + i : nullptr, 4);
  if (nnzs <= 0) return;
  int* col_idx = m.getColIdx();
  Value* values = m.getValues();
  for (int k = 0; k < nnzs; ++k) stream.popFront(col_idx + k, 4);
  for (int k = 0; k < nnzs; ++k) stream.popFront(values + k, int(sizeof(Value)));
}

#define VELMO_CSR_STREAM(Value)                                          \
  template int getStreamSize(const CSRMatrixT<Value, int>&);             \
  template void packStream(Stream&, const CSRMatrixT<Value, int>&);      \
  template void unpackStream(Stream&, CSRMatrixT<Value, int>&)

VELMO_CSR_STREAM(int);
VELMO_CSR_STREAM(long);
VELMO_CSR_STREAM(float);
VELMO_CSR_STREAM(double);
VELMO_CSR_STREAM(Complex<float>);
VELMO_CSR_STREAM(Complex<double>);

#undef VELMO_CSR_STREAM

}  // namespace velmo::comu
