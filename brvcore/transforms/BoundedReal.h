#pragma once

#include <cmath>
#include <cstdint>

// Scalars for the templates of JAMA. They compute as double does, to the last bit, and end an iteration that would not:
// the comparison by which an algorithm tests for convergence counts against a limit and refuses NaN, by throwing
// NotConverged. NaN must be caught there, because the templates would go on to read and write past the end of their
// arrays.
//
// Only tests for convergence count. Their number grows with the rows that an iteration touches, so a limit on it is a
// limit on the arithmetic too. One decomposition at a time per thread.
namespace LinearAlgebra
{

struct NotConverged
{
};

// How many tests the running decomposition may still make; the symmetric eigenvalue iteration has its own kind.
inline thread_local constinit std::int64_t t_remainingTests = 0;
inline thread_local constinit std::int64_t t_remainingSymmetricTests = 0;

inline void SpendTest(std::int64_t& remaining)
{
    if (--remaining < 0) [[unlikely]]
        throw NotConverged{};
}

inline void RefuseNaN(double a, double b)
{
    if (std::isunordered(a, b)) [[unlikely]]
        throw NotConverged{};
}

// For Eigenvalue, whose every variable has the scalar's type. Between scalars, the symmetric iteration tests by `>`
// once a step, the general one by `<` for the rows it looks through; `<=` only ever scans an array. Each iteration is
// followed by a bounded number of the other's comparisons, so it takes the limit of its own kind.
class EigenReal
{
public:
    EigenReal() = default;
    EigenReal(double value) : m_value(value) {}   // implicit: the templates mix in literals

    double Get() const { return m_value; }

    EigenReal& operator+=(EigenReal b) { return *this = *this + b; }
    EigenReal& operator-=(EigenReal b) { return *this = *this - b; }
    EigenReal& operator/=(EigenReal b) { return *this = *this / b; }

    friend EigenReal operator+(EigenReal a, EigenReal b) { return a.m_value + b.m_value; }
    friend EigenReal operator-(EigenReal a, EigenReal b) { return a.m_value - b.m_value; }
    friend EigenReal operator*(EigenReal a, EigenReal b) { return a.m_value * b.m_value; }
    friend EigenReal operator/(EigenReal a, EigenReal b) { return a.m_value / b.m_value; }
    friend EigenReal operator-(EigenReal a) { return -a.m_value; }

    friend EigenReal abs(EigenReal a) { return std::fabs(a.m_value); }
    friend EigenReal sqrt(EigenReal a) { return std::sqrt(a.m_value); }
    friend EigenReal hypot(EigenReal a, EigenReal b) { return std::hypot(a.m_value, b.m_value); }

    friend bool operator==(EigenReal a, EigenReal b) { return a.m_value == b.m_value; }
    friend bool operator<=(EigenReal a, EigenReal b)
    {
        RefuseNaN(a.m_value, b.m_value);
        return a.m_value <= b.m_value;
    }
    friend bool operator<(EigenReal a, EigenReal b)
    {
        RefuseNaN(a.m_value, b.m_value);
        SpendTest(t_remainingTests);
        return a.m_value < b.m_value;
    }
    friend bool operator>(EigenReal a, EigenReal b)
    {
        RefuseNaN(a.m_value, b.m_value);
        SpendTest(t_remainingSymmetricTests);
        return a.m_value > b.m_value;
    }

    // Signs are asked for against a literal, and are no test for convergence.
    friend bool operator<(EigenReal a, int b) { return a.m_value < b; }
    friend bool operator<(EigenReal a, double b) { return a.m_value < b; }
    friend bool operator>(EigenReal a, int b) { return a.m_value > b; }
    friend bool operator>=(EigenReal a, int b) { return a.m_value >= b; }

private:
    double m_value = 0.0;
};

// For SVD, which keeps intermediate values in double: it converts both ways, and arithmetic is that of double. Every
// test for convergence, and nothing else in the iteration, takes absolute values of elements.
class SingularReal
{
public:
    SingularReal() = default;
    SingularReal(double value) : m_value(value) {}
    operator double() const { return m_value; }

    SingularReal& operator+=(double b) { return *this = m_value + b; }
    SingularReal& operator/=(double b) { return *this = m_value / b; }

    friend double abs(SingularReal a)
    {
        RefuseNaN(a.m_value, a.m_value);
        SpendTest(t_remainingTests);
        return std::fabs(a.m_value);
    }
    friend double hypot(SingularReal a, SingularReal b) { return std::hypot(a.m_value, b.m_value); }
    friend double hypot(SingularReal a, double b) { return std::hypot(a.m_value, b); }

private:
    double m_value = 0.0;
};

}   // namespace LinearAlgebra
