#pragma once

#include <glog/logging.h>

#include "comu/Stream.h"
#include "mat/CSRMatrix.h"
#include "mat/Matrix.h"

// Packing of the local containers, one element per pushBack or popFront. Packing reads the
// arrays directly, so both sides work on host matrices; unpacking replaces the storage of the
// receiving handle, as create does.
namespace velmo::comu {

// rows, cols (32-bit), then the rows * cols elements in storage order when there are any.
// Generic over the element type, so plain records travel the same way as scalars.
template <class T>
int getStreamSize(const MatrixT<T, int>& m) {
  return 8 + (m.getSize() > 0 ? m.getSize() * int(sizeof(T)) : 0);
}

template <class T>
void packStream(Stream& stream, const MatrixT<T, int>& m) {
  CHECK(m.getDevice().type == 0) << "packStream: matrix must be on the host";
  const int rows = m.getRows(), cols = m.getCols();
  stream.pushBack(&rows, 4);
  stream.pushBack(&cols, 4);
  const T* data = m.getData();
  for (int k = 0; k < m.getSize(); ++k) stream.pushBack(data + k, int(sizeof(T)));
}

template <class T>
void unpackStream(Stream& stream, MatrixT<T, int>& m) {
  CHECK(m.getDevice().type == 0) << "unpackStream: matrix must be on the host";
  int rows = 0, cols = 0;
  stream.popFront(&rows, 4);
  stream.popFront(&cols, 4);
  m.create(rows, cols, m.getDevice());
  T* data = m.getData();
  for (int k = 0; k < m.getSize(); ++k) stream.popFront(data + k, int(sizeof(T)));
}

// rows, cols, nnzs (32-bit); row_ptr[0..rows] when rows >= 0; then col_idx and values when
// nnzs > 0. A matrix of no rows sends a single zero offset.
template <class Value>
int getStreamSize(const CSRMatrixT<Value, int>& m);
template <class Value>
void packStream(Stream& stream, const CSRMatrixT<Value, int>& m);
template <class Value>
void unpackStream(Stream& stream, CSRMatrixT<Value, int>& m);

}  // namespace velmo::comu
