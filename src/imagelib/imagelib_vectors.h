// Checked arrays of doubles for the solvers: K7Vector and K7Matrix.
//
// Both count from 1 unless they are made to count from 0. With checks on, an index out of range is traced as an error
// and answered with the first element; with checks off the caller vouches for its indices. An array whose memory could
// not be had, or one copied from such an array, is not valid, has no elements, and answers every index with a spare
// element of its own. Elements start at 0.
#pragma once

#include <cstddef>

class K7Vector {
  public:
    explicit K7Vector(int length, bool checks = true, bool from_zero = false);
    K7Vector(const K7Vector& other);
    K7Vector(K7Vector&& other) noexcept;
    K7Vector& operator=(K7Vector other) noexcept;
    ~K7Vector();

    bool valid() const { return m_elements != nullptr; }
    int length() const { return m_length; }
    bool checks() const { return m_checks; }
    bool from_zero() const { return m_from_zero; }
    double* data() { return m_elements; }
    const double* data() const { return m_elements; }

    double& operator[](int index) { return m_elements ? m_elements[offset(index)] : m_spare; }
    const double& operator[](int index) const { return m_elements ? m_elements[offset(index)] : m_spare; }

  private:
    std::size_t offset(int index) const {
        const int place = index - (m_from_zero ? 0 : 1);
        if (m_checks && (place < 0 || place >= m_length)) return out_of_range(index);
        return std::size_t(place);
    }
    std::size_t out_of_range(int index) const;
    void alloc_ard(int length);

    int m_length = 0;
    bool m_checks, m_from_zero;
    double* m_elements = nullptr;
    double m_spare = 0.0;
};

class K7Matrix {  // row by row
  public:
    K7Matrix(int rows, int columns, bool checks = true, bool from_zero = false);
    K7Matrix(const K7Matrix& other);
    K7Matrix(K7Matrix&& other) noexcept;
    K7Matrix& operator=(K7Matrix other) noexcept;
    ~K7Matrix();

    bool valid() const { return m_elements != nullptr; }
    int rows() const { return m_rows; }
    int columns() const { return m_columns; }
    bool checks() const { return m_checks; }
    bool from_zero() const { return m_from_zero; }
    double* data() { return m_elements; }
    const double* data() const { return m_elements; }

    double& operator()(int row, int column) { return m_elements ? m_elements[offset(row, column)] : m_spare; }
    const double& operator()(int row, int column) const {
        return m_elements ? m_elements[offset(row, column)] : m_spare;
    }

  private:
    std::size_t offset(int row, int column) const {
        const int first = m_from_zero ? 0 : 1;
        const int r = row - first, c = column - first;
        if (m_checks && (r < 0 || r >= m_rows || c < 0 || c >= m_columns)) return out_of_range(row, column);
        return std::size_t(r) * std::size_t(m_columns) + std::size_t(c);
    }
    std::size_t out_of_range(int row, int column) const;
    void alloc_ard(int rows, int columns);

    int m_rows = 0, m_columns = 0;
    bool m_checks, m_from_zero;
    double* m_elements = nullptr;
    double m_spare = 0.0;
};
