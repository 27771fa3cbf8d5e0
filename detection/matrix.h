// Matrix<T>: a fixed-size two-dimensional store of elements in row order,
// walked element by element by an Iterator object (one object per pass).
// Used on the GUI thread by the hot pixel detector; instantiated for unsigned.
#pragma once

#include <QtGlobal>

#include <cstddef>
#include <limits>
#include <stdexcept>
#include <type_traits>

template<typename T>
class Matrix
{
public:
    // One pass over the elements: visit() is called for each element in row order.
    class Iterator
    {
    public:
        virtual void visit(T &element) = 0;

    protected:
        ~Iterator() = default;
    };

    class out_of_range : public std::out_of_range
    {
    public:
        out_of_range()
            : std::out_of_range("Matrix<T>::operator() (unsigned posY, unsigned poX) out of range")
        { }
    };

    Matrix(unsigned rows, unsigned columns);
    ~Matrix();

    Matrix(const Matrix &) = delete;
    Matrix &operator=(const Matrix &) = delete;

    T &operator()(unsigned a, unsigned b);
    const T &operator()(unsigned a, unsigned b) const;

    void forEach(Iterator &it);

    // The same pass for an iterator whose class is known here. With a final
    // class the call of visit() is bound at compile time; the loop is inlined
    // into the caller, so that an iterator that passes elements on to another
    // one made in the same function gets that call bound and inlined too.
    template<typename ConcreteIterator>
    void forEach(ConcreteIterator &it);

    unsigned sizeX; // elements in a row
    unsigned sizeY; // rows
    T *data; // sizeX * sizeY elements in row order, owned

private:
    static std::size_t elementCount(unsigned rows, unsigned columns);
};

template<typename T>
inline std::size_t Matrix<T>::elementCount(unsigned rows, unsigned columns)
{
    if (rows == 0 || columns == 0)
        throw std::length_error("Matrix has no size");
    const std::size_t count = std::size_t(rows) * columns;
    // An oversized request asks for the largest possible array, so that the
    // allocation itself fails with the usual out-of-memory exception.
    if (count > 0x3FFFFFFF)
        return std::numeric_limits<std::size_t>::max();
    return count;
}

template<typename T>
inline Matrix<T>::Matrix(unsigned rows, unsigned columns)
    : sizeX(columns)
    , sizeY(rows)
    , data(new T[elementCount(rows, columns)]) // contents stay undefined until the first pass
{ }

template<typename T>
inline Matrix<T>::~Matrix()
{
    delete[] data;
}

template<typename T>
inline T &Matrix<T>::operator()(unsigned a, unsigned b)
{
    if (a >= sizeX || b >= sizeY)
        throw out_of_range();
    return data[a + std::size_t(sizeX) * b];
}

template<typename T>
inline const T &Matrix<T>::operator()(unsigned a, unsigned b) const
{
    if (a >= sizeX || b >= sizeY)
        throw out_of_range();
    return data[a + std::size_t(sizeX) * b];
}

// The elements lie in row order without gaps, so the row-by-row walk is one
// run over the array and no index can leave it.
template<typename T>
inline void Matrix<T>::forEach(Iterator &it)
{
    for (T *element = data, *end = data + std::size_t(sizeX) * sizeY; element != end; ++element)
        it.visit(*element);
}

template<typename T>
template<typename ConcreteIterator>
Q_ALWAYS_INLINE void Matrix<T>::forEach(ConcreteIterator &it)
{
    static_assert(std::is_base_of<Iterator, ConcreteIterator>::value,
                  "forEach takes a Matrix<T>::Iterator");
    for (T *element = data, *end = data + std::size_t(sizeX) * sizeY; element != end; ++element)
        it.visit(*element);
}
