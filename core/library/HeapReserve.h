#pragma once

#include <QtGlobal>

// While alive, lets the heap grow in one step by about `bytes`, that range
// advised for huge pages, and keeps large blocks in it. Decoding a big
// library makes hundreds of thousands of blocks in fresh memory; touching
// that memory page by page costs more than the decoding. Does nothing where
// the C library or the kernel offer no such control, or for small amounts.
class HeapReserve
{
public:
    explicit HeapReserve(qsizetype bytes);
    ~HeapReserve();
    HeapReserve(const HeapReserve &) = delete;
    HeapReserve &operator=(const HeapReserve &) = delete;

private:
    bool m_active = false;
};
