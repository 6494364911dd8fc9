#include <algorithm>
#include <utility>

#include "imagelib/imagelib_vectors.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

// Zeroed; null for a count that is not positive or too large, and when out of memory.
double* new_elements(long long count) {
    constexpr long long MOST = 0x7fffffff / static_cast<long long>(sizeof(double));
    if (count <= 0 || count > MOST) return nullptr;
    const auto n = static_cast<std::size_t>(count);
    auto* elements = static_cast<double*>(k7_malloc(n * sizeof(double)));
    if (elements) std::fill_n(elements, n, 0.0);
    return elements;
}

void free_elements(double* elements) {
    if (elements) k7_free(elements);
}

}  // namespace

// ---- K7Vector -------------------------------------------------------------------------------------------------

K7Vector::K7Vector(int length, bool checks, bool from_zero) : m_checks(checks), m_from_zero(from_zero) {
    alloc_ard(length);
}

K7Vector::K7Vector(const K7Vector& other) : m_checks(other.m_checks), m_from_zero(other.m_from_zero) {
    if (!other.valid()) {
        Trace(TRACE_ERROR, "K7Vector copy constructor passed invalid vector.\n");
        return;
    }
    alloc_ard(other.m_length);
    if (valid()) std::copy_n(other.m_elements, m_length, m_elements);
}

K7Vector::K7Vector(K7Vector&& other) noexcept
    : m_length(std::exchange(other.m_length, 0)),
      m_checks(other.m_checks),
      m_from_zero(other.m_from_zero),
      m_elements(std::exchange(other.m_elements, nullptr)) {}

K7Vector& K7Vector::operator=(K7Vector other) noexcept {
    std::swap(m_length, other.m_length);
    std::swap(m_checks, other.m_checks);
    std::swap(m_from_zero, other.m_from_zero);
    std::swap(m_elements, other.m_elements);
    return *this;
}

K7Vector::~K7Vector() { free_elements(m_elements); }

void K7Vector::alloc_ard(int length) {
    m_elements = new_elements(length);
    if (m_elements)
        m_length = length;
    else
        Trace(TRACE_ERROR, "K7Vector::alloc_ard(%d) failed.\n", length);
}

std::size_t K7Vector::out_of_range(int index) const {
    Trace(TRACE_ERROR, "K7Vector index operator passed invalid index (%d for %d).\n", index, m_length);
    return 0;
}

// ---- K7Matrix -------------------------------------------------------------------------------------------------

K7Matrix::K7Matrix(int rows, int columns, bool checks, bool from_zero) : m_checks(checks), m_from_zero(from_zero) {
    alloc_ard(rows, columns);
}

K7Matrix::K7Matrix(const K7Matrix& other) : m_checks(other.m_checks), m_from_zero(other.m_from_zero) {
    if (!other.valid()) {
        Trace(TRACE_ERROR, "K7Matrix copy constructor passed invalid matrix.\n");
        return;
    }
    alloc_ard(other.m_rows, other.m_columns);
    if (valid()) std::copy_n(other.m_elements, std::size_t(m_rows) * std::size_t(m_columns), m_elements);
}

K7Matrix::K7Matrix(K7Matrix&& other) noexcept
    : m_rows(std::exchange(other.m_rows, 0)),
      m_columns(std::exchange(other.m_columns, 0)),
      m_checks(other.m_checks),
      m_from_zero(other.m_from_zero),
      m_elements(std::exchange(other.m_elements, nullptr)) {}

K7Matrix& K7Matrix::operator=(K7Matrix other) noexcept {
    std::swap(m_rows, other.m_rows);
    std::swap(m_columns, other.m_columns);
    std::swap(m_checks, other.m_checks);
    std::swap(m_from_zero, other.m_from_zero);
    std::swap(m_elements, other.m_elements);
    return *this;
}

K7Matrix::~K7Matrix() { free_elements(m_elements); }

void K7Matrix::alloc_ard(int rows, int columns) {
    if (rows > 0 && columns > 0) m_elements = new_elements(static_cast<long long>(rows) * columns);
    if (m_elements)
        m_rows = rows, m_columns = columns;
    else
        Trace(TRACE_ERROR, "K7Matrix::alloc_ard(%d,%d) failed.\n", rows, columns);
}

std::size_t K7Matrix::out_of_range(int row, int column) const {
    Trace(TRACE_ERROR, "K7Matrix 2D index operator passed invalid index ((%d,%d) for (%d,%d)).\n", row, column, m_rows,
          m_columns);
    return 0;
}
