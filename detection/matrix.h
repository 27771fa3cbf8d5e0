// Matrix<T>: a fixed-size two-dimensional store of elements in row order,
// walked element by element by an Iterator object (one object per pass).
// Used on the GUI thread by the hot pixel detector; instantiated for unsigned.
#pragma once

#include <QtGlobal>

#include <sys/mman.h>

#include <cstddef>
#include <limits>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

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
    // An iterator may also offer
    //     std::size_t visitRun(T *first, std::size_t count);
    // which handles the elements from first on, in order and exactly as visit()
    // would one after another, at least one and at most count of them, and
    // says how many it handled. The pass then goes by such runs, so that the
    // iterator can do a whole stretch in one tight loop.
    template<typename ConcreteIterator>
    void forEach(ConcreteIterator &it);

    // Part of such a pass: the elements from index begin to index end, in row
    // order. Consecutive parts with one iterator make up the whole pass, so
    // that several passes can go over the matrix piece by piece while each
    // piece is still in the processor's cache.
    template<typename ConcreteIterator>
    void forEach(ConcreteIterator &it, std::size_t begin, std::size_t end);

    unsigned sizeX; // elements in a row
    unsigned sizeY; // rows
    T *data; // sizeX * sizeY elements in row order, owned

private:
    template<typename I, typename = void>
    struct VisitsRuns : std::false_type
    {
    };
    template<typename I>
    struct VisitsRuns<
            I,
            std::void_t<decltype(std::declval<I &>().visitRun(std::declval<T *>(), std::size_t()))>>
        : std::true_type
    {
    };

    static_assert(std::is_trivial<T>::value, "the elements are left undefined");
    static constexpr std::size_t HugePage = std::size_t(2) << 20;
    static constexpr std::size_t HugePagesFrom = std::size_t(16) << 20;

    static std::size_t elementCount(unsigned rows, unsigned columns);
    static bool inHugePages(std::size_t count);
    static T *allocate(std::size_t count);
    static void release(T *array, std::size_t count);
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

// The contents stay undefined until the first pass.
template<typename T>
inline Matrix<T>::Matrix(unsigned rows, unsigned columns)
    : sizeX(columns)
    , sizeY(rows)
    , data(allocate(elementCount(rows, columns)))
{ }

template<typename T>
inline Matrix<T>::~Matrix()
{
    release(data, std::size_t(sizeX) * sizeY);
}

// A large matrix comes fresh from the system and is faulted in page by page
// on its first pass. In huge pages that takes a few dozen faults instead of
// thousands, so an array of 16 MiB or more starts on a huge page and fills
// whole ones. A smaller one is left to the allocator, which can often hand
// back memory already in use. The kernel may ignore the advice, which changes
// nothing else.
template<typename T>
inline bool Matrix<T>::inHugePages(std::size_t count)
{
    return count >= HugePagesFrom / sizeof(T) && count <= 0x3FFFFFFF;
}

template<typename T>
inline T *Matrix<T>::allocate(std::size_t count)
{
    if (!inHugePages(count))
        return new T[count];
    const std::size_t bytes = (count * sizeof(T) + HugePage - 1) & ~(HugePage - 1);
    void *array = ::operator new[](bytes, std::align_val_t(HugePage));
    madvise(array, bytes, MADV_HUGEPAGE);
    return static_cast<T *>(array);
}

template<typename T>
inline void Matrix<T>::release(T *array, std::size_t count)
{
    if (inHugePages(count))
        ::operator delete[](array, std::align_val_t(HugePage));
    else
        delete[] array;
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
    forEach(it, 0, std::size_t(sizeX) * sizeY);
}

template<typename T>
template<typename ConcreteIterator>
Q_ALWAYS_INLINE void Matrix<T>::forEach(ConcreteIterator &it, std::size_t begin, std::size_t end)
{
    static_assert(std::is_base_of<Iterator, ConcreteIterator>::value,
                  "forEach takes a Matrix<T>::Iterator");
    if (end > std::size_t(sizeX) * sizeY || begin > end)
        throw out_of_range();
    T *element = data + begin;
    T *const last = data + end;
    if constexpr (VisitsRuns<ConcreteIterator>::value) {
        while (element != last)
            element += it.visitRun(element, std::size_t(last - element));
    } else {
        for (; element != last; ++element)
            it.visit(*element);
    }
}
