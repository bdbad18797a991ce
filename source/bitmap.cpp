// bitmap.cpp - BitmapPainter: what every image painter shares.
//
// Holds the image buffer (not owned), the destination canvas, the position
// and the two colours used for monochrome images. Decoding is left to the
// concrete painters.
#include "tollivex/bitmap.h"

#include <cstring>

namespace {
const char* const kSource = "bitmap";
}

BitmapPainter::BitmapPainter()
    : type(0), monoWhite(255), monoBlack(0), palette{}, buffer(nullptr), bufferSize(0), readPosition(0),
      canvas(nullptr), errorCode(0), x(0), y(0)
{
}

BitmapPainter::~BitmapPainter()
{
    buffer = nullptr;
    canvas = nullptr;
}

ERRORSTATUS BitmapPainter::AssociateBuffer(unsigned char* data, unsigned long size)
{
    if (size == 0)
        return ERR_FAILURE;
    buffer = data;
    bufferSize = size > 0xFFFFFFFFul ? 0xFFFFFFFFu : static_cast<uint32_t>(size);
    readPosition = 0;
    return ERR_OK;
}

void BitmapPainter::DissociateBuffer()
{
    buffer = nullptr;
    bufferSize = 0;
    readPosition = 0;
}

void BitmapPainter::AssociateCanvas(Canvas* target)
{
    if (target == nullptr)
        _AssertMsg(kSource, __LINE__);
    canvas = target;
}

void BitmapPainter::SetPosition(short left, short top)
{
    x = left;
    y = top;
}

void BitmapPainter::SetType(unsigned long tag)
{
    type = static_cast<uint32_t>(tag);
}

void BitmapPainter::MonoSetBlack(unsigned char index)
{
    monoBlack = index;
}

void BitmapPainter::MonoSetWhite(unsigned char index)
{
    monoWhite = index;
}
