#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "mat/AssemblyArena.h"
#include "mat/Partitioner.h"

namespace velmo {

template <class Value, class LocalIndex>
class CSRMatrixT;

// How setValue treats an entry: 0 overwrites it, 1 adds to it (a new entry starts at zero).
// Any other mode stores nothing.
using SetValueMode = int;

// One row of a coordinate matrix: its entries by column, with a mutex of its own so that
// writers to different rows never wait for each other. The entries live in the arena of the
// buffer that made the row; the hash table is the standard one, so entries iterate as in any
// std::unordered_map.
template <class ColIndex, class Value>
struct MapWithLockType {
  using Allocator = ArenaAllocator<std::pair<const ColIndex, Value>, AssemblyArena*>;
  using Entries = std::unordered_map<ColIndex, Value, std::hash<ColIndex>, std::equal_to<ColIndex>, Allocator>;

  explicit MapWithLockType(AssemblyArena* arena) : entries(Allocator(arena)) {}

  Entries entries;
  std::mutex lock;
};

// Coordinate form of a local sparse matrix: a row-keyed table of column-keyed rows, filled in
// any order and from many threads, then converted to compressed rows. Rows are keyed by
// RowIndex and columns by ColIndex: global by global while assembling, local by global once
// routed to their owner. Copies of the handle share the table, and rows move between tables
// by shared pointer, never by copy.
template <class Value, class RowIndex, class ColIndex>
class COOMatrixT {
 public:
  using RowMap = MapWithLockType<ColIndex, Value>;
  using RowMapTable = std::unordered_map<RowIndex, std::shared_ptr<RowMap>>;

  struct COOMatrixImpl {
    RowMapTable rowMaps;
    RowIndex rows = -1;  // -1 until set
    ColIndex cols = -1;
    std::mutex lock;  // guards rowMaps, never held while a row is touched
    // Memory of the rows, made with the first row; rows hold a share of it.
    std::shared_ptr<AssemblyArena> arena;
    // Tells this table from any other, for the row a thread set last (see setValue).
    const std::uint64_t serial = nextAssemblySerial();
  };

  COOMatrixT() : m_impl(std::make_shared<COOMatrixImpl>()) {}

  // A fresh, empty table of the given shape; other handles keep the old one.
  void create(RowIndex rows, ColIndex cols);
  // A fresh, empty table of the same shape. The rows' memory goes with the last table that
  // shares them.
  void clear() { create(getRows(), getCols()); }

  RowIndex getRows() const { return m_impl->rows; }
  ColIndex getCols() const { return m_impl->cols; }

  // The row, made empty if it is new. Takes the table lock for the lookup only.
  std::shared_ptr<RowMap> getRowMap(RowIndex row) const;
  // The table itself, for walks in hash order and for routing rows by pointer. Not to be
  // used while other threads call setValue. A row once in a table that setValue has used is
  // never removed or replaced.
  RowMapTable& getRowMaps() const { return m_impl->rowMaps; }

  // Thread-safe; see SetValueMode. The row is created even when the mode stores nothing.
  // Entries of one row set in a run by one thread take the table's lock once.
  void setValue(RowIndex row, ColIndex col, const Value& v, SetValueMode mode) const;

  // Routes every row to its owner under `partitioner`: element p holds, under their local
  // numbers, the rows of part p, shared with this table.
  template <class LocalIndex>
  std::vector<COOMatrixT<Value, LocalIndex, ColIndex>> splitRows(
      const PartitionerT<RowIndex, LocalIndex>& partitioner) const;

  // Reads Matrix Market coordinate text into the table; a repeated coordinate keeps its last
  // value. Banner and comments are skipped unread, so symmetric files give their stored
  // triangle only. A stream already failed leaves the matrix untouched.
  void loadFromStream(std::istream& in);

  // Rows 0 .. rows-1, with their entries in hash order (unsorted). An empty table or a
  // matrix of no rows leaves `out` alone. Columns are narrowed to int.
  void toCSR(CSRMatrixT<Value, int>& out) const;

 private:
  // The row's slot in the table, with the row made empty if it is new; the lookup is made
  // under the table's lock.
  const std::shared_ptr<RowMap>& findRow(RowIndex row) const;

  std::shared_ptr<COOMatrixImpl> m_impl;
};

}  // namespace velmo
