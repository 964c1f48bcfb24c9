#include "mat/COOMatrix.h"

#include <glog/logging.h>
#include <omp.h>

#include <sstream>
#include <string>

#include "kernels/spm/spm.h"
#include "mat/CSRMatrix.h"
#include "mat/MatrixMarketValue.h"
#include "utils/Complex.h"
#include "utils/Utils.h"

namespace velmo {

template <class Value, class RowIndex, class ColIndex>
void COOMatrixT<Value, RowIndex, ColIndex>::create(RowIndex rows, ColIndex cols) {
  auto impl = std::make_shared<COOMatrixImpl>();
  impl->rows = rows;
  impl->cols = cols;
  m_impl = std::move(impl);
}

template <class Value, class RowIndex, class ColIndex>
auto COOMatrixT<Value, RowIndex, ColIndex>::findRow(RowIndex row) const -> const std::shared_ptr<RowMap>& {
  COOMatrixImpl& impl = *m_impl;
  std::lock_guard<std::mutex> guard(impl.lock);
  std::shared_ptr<RowMap>& slot = impl.rowMaps[row];
  if (!slot) {
    if (!impl.arena) impl.arena = std::make_shared<AssemblyArena>();
    using Keeper = ArenaAllocator<RowMap, std::shared_ptr<AssemblyArena>>;
    slot = std::allocate_shared<RowMap>(Keeper(impl.arena), impl.arena.get());
  }
  return slot;
}

template <class Value, class RowIndex, class ColIndex>
auto COOMatrixT<Value, RowIndex, ColIndex>::getRowMap(RowIndex row) const -> std::shared_ptr<RowMap> {
  // The slot is written once, under the lock, and hash nodes never move: read unlocked.
  return findRow(row);
}

template <class Value, class RowIndex, class ColIndex>
void COOMatrixT<Value, RowIndex, ColIndex>::setValue(RowIndex row, ColIndex col, const Value& v,
                                                     SetValueMode mode) const {
  // The row this thread set last. Rows stay in their table for its life, and a serial is
  // never reused, so a match is the same live row.
  struct RecentRow {
    std::uint64_t table = 0;
    RowIndex row = 0;
    RowMap* map = nullptr;
  };
  static thread_local RecentRow recent;
  if (recent.table != m_impl->serial || recent.row != row) recent = {m_impl->serial, row, findRow(row).get()};
  RowMap& rowMap = *recent.map;
  std::lock_guard<std::mutex> guard(rowMap.lock);
  if (mode == 0) {
    rowMap.entries[col] = v;
  } else if (mode == 1) {
    rowMap.entries[col] += v;
  }
}

template <class Value, class RowIndex, class ColIndex>
template <class LocalIndex>
std::vector<COOMatrixT<Value, LocalIndex, ColIndex>> COOMatrixT<Value, RowIndex, ColIndex>::splitRows(
    const PartitionerT<RowIndex, LocalIndex>& partitioner) const {
  LOG(INFO) << "begin splitRows";
  std::vector<COOMatrixT<Value, LocalIndex, ColIndex>> parts(size_t(partitioner.getNumParts()));
  for (int p = 0; p < partitioner.getNumParts(); ++p) {
    parts[p].create(partitioner.getPartSize(p), m_impl->cols);
    parts[p].getRowMaps().reserve(size_t(partitioner.getPartSize(p)));
  }
  for (const auto& [row, rowMap] : m_impl->rowMaps) {
    LocalIndex local = 0;
    int owner = partitioner.getOwner(row, &local);
    parts[owner].getRowMaps()[local] = rowMap;
  }
  LOG(INFO) << "finish splitRows";
  return parts;
}

template <class Value, class RowIndex, class ColIndex>
void COOMatrixT<Value, RowIndex, ColIndex>::loadFromStream(std::istream& in) {
  if (in.fail()) return;
  long rows = 0, cols = 0, entries = 0;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '%') continue;
    std::istringstream(line) >> rows >> cols >> entries;
    break;
  }
  m_impl->rows = RowIndex(rows);
  m_impl->cols = ColIndex(cols);

  const bool strict = Utils::isStrictMatrixMarket();
  for (long k = 0; k < entries; ++k) {
    long row = 0, col = 0;
    Value v{};
    in >> row >> col;
    readMatrixMarketValue(in, v, strict, MatrixMarketFormat::Coordinate);
    // Nothing is reported on bad input; reading just stops.
    if (in.fail()) break;
    findRow(RowIndex(row - 1))->entries[ColIndex(col - 1)] = v;
  }
}

template <class Value, class RowIndex, class ColIndex>
void COOMatrixT<Value, RowIndex, ColIndex>::toCSR(CSRMatrixT<Value, int>& out) const {
  if (m_impl->rowMaps.empty() || m_impl->rows <= 0) return;
  CHECK(out.getDevice().type == 0) << "toCSR: the target must be on the host";
  const int rows = int(m_impl->rows);
  out.resize(rows, int(m_impl->cols), out.getDevice());

  // The lookups may insert empty rows under the table's lock, so they stay in one thread;
  // once the offsets are known the rows are independent and their copies run on the team.
  std::vector<const RowMap*> rowMaps(static_cast<size_t>(rows));
  int* row_ptr = out.getRowPtr();
  row_ptr[0] = 0;
  for (int i = 0; i < rows; ++i) {
    rowMaps[i] = findRow(RowIndex(i)).get();
    row_ptr[i + 1] = row_ptr[i] + int(rowMaps[i]->entries.size());
  }

  out.resizeNnz(row_ptr[rows], 0);
  int* col_idx = out.getColIdx();
  Value* values = out.getValues();
  const spm::OpenMP team(omp_get_max_threads());
  spm::parallel_for(spm::RangePolicy<spm::OpenMP>(team, 0, rows), [&](long i) {
    int pos = row_ptr[i];
    for (const auto& [col, v] : rowMaps[size_t(i)]->entries) {
      col_idx[pos] = int(col);
      values[pos] = v;
      ++pos;
    }
  });
}

template class COOMatrixT<int, int, int>;
template class COOMatrixT<long, int, int>;
template class COOMatrixT<float, int, int>;
template class COOMatrixT<double, int, int>;
template class COOMatrixT<Complex<float>, int, int>;
template class COOMatrixT<Complex<double>, int, int>;

template class COOMatrixT<int, long, long>;
template class COOMatrixT<long, long, long>;
template class COOMatrixT<float, long, long>;
template class COOMatrixT<double, long, long>;
template class COOMatrixT<Complex<float>, long, long>;
template class COOMatrixT<Complex<double>, long, long>;

// Rows routed to their owner: local rows, global columns.
template class COOMatrixT<int, int, long>;
template class COOMatrixT<long, int, long>;
template class COOMatrixT<float, int, long>;
template class COOMatrixT<double, int, long>;
template class COOMatrixT<Complex<float>, int, long>;
template class COOMatrixT<Complex<double>, int, long>;

template std::vector<COOMatrixT<int, int, int>> COOMatrixT<int, int, int>::splitRows(
    const PartitionerT<int, int>&) const;
template std::vector<COOMatrixT<long, int, int>> COOMatrixT<long, int, int>::splitRows(
    const PartitionerT<int, int>&) const;
template std::vector<COOMatrixT<float, int, int>> COOMatrixT<float, int, int>::splitRows(
    const PartitionerT<int, int>&) const;
template std::vector<COOMatrixT<double, int, int>> COOMatrixT<double, int, int>::splitRows(
    const PartitionerT<int, int>&) const;
template std::vector<COOMatrixT<Complex<float>, int, int>> COOMatrixT<Complex<float>, int, int>::splitRows(
    const PartitionerT<int, int>&) const;
template std::vector<COOMatrixT<Complex<double>, int, int>> COOMatrixT<Complex<double>, int, int>::splitRows(
    const PartitionerT<int, int>&) const;

template std::vector<COOMatrixT<int, int, long>> COOMatrixT<int, long, long>::splitRows(
    const PartitionerT<long, int>&) const;
template std::vector<COOMatrixT<long, int, long>> COOMatrixT<long, long, long>::splitRows(
    const PartitionerT<long, int>&) const;
template std::vector<COOMatrixT<float, int, long>> COOMatrixT<float, long, long>::splitRows(
    const PartitionerT<long, int>&) const;
template std::vector<COOMatrixT<double, int, long>> COOMatrixT<double, long, long>::splitRows(
    const PartitionerT<long, int>&) const;
template std::vector<COOMatrixT<Complex<float>, int, long>> COOMatrixT<Complex<float>, long, long>::splitRows(
    const PartitionerT<long, int>&) const;
template std::vector<COOMatrixT<Complex<double>, int, long>>
COOMatrixT<Complex<double>, long, long>::splitRows(const PartitionerT<long, int>&) const;

}  // namespace velmo
