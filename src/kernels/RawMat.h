#pragma once

// Plain views of compressed rows, passed by value into kernels and copied into device
// lambdas. They own nothing: every pointer must be valid on the kernel's device.
namespace velmo {

template <class Value, class Index>
struct COT_CSRRawMat {
  Index rows;
  Index cols;
  Index nnzs;
  Index reserved;         // written as 0, never read
  const Index* row_ptr;
  const Index* row_end;   // row_ptr + 1, so a row's bounds need no single array
  Index* col_idx;         // null in an output view: symbolic pass
  Value* values;          // null in an output view: symbolic pass
};

// One block of a matrix cut into pieces, with the global position of its first row and column.
template <class Value, class Index>
struct COT_MergeCSRRawMat {
  Index rows;
  Index cols;
  Index nnzs;
  Index reserved;
  const Index* row_ptr;
  const Index* row_end;
  Index* col_idx;
  Value* values;
  Index row_offset;
  Index col_offset;
};

// One column block of a distributed matrix, with the input vector gathered for its columns.
template <class Value, class Index>
struct COT_SpMVCSRRawMat {
  Index rows;
  Index cols;
  Index nnzs;
  Index reserved;
  const Index* row_ptr;
  const Index* row_end;
  Index* col_idx;
  Value* values;
  Index row_offset;   // first row of the owning rank
  Index col_offset;   // first column of the block within the column partition
  Index rank;         // owner of the block's columns; the caller's own rank for the diagonal block
  Value* x_values;    // indexed by the block's local column number
  Value* aux_values;
};

// One slot of an open-addressing table; `state` is 0 empty, 1 occupied, 2 deleted.
template <class Key, class Val>
struct HashTableSlot {
  Key key;
  Val value;
  unsigned char state;
};

}  // namespace velmo
