// sprman_form.h - sprites as the display draws them fastest.
//
// The stored encoding spends a command on every one-colour stretch and every
// literal stretch, so a busy row costs a branch per handful of pixels. The
// display form keeps, per row, the opaque spans only (runs that touch merged
// into one), each with its pixels, so drawing is a wide copy per span. It is
// built from the record on first display, exactly as the record walk would
// read it (stopping where a damaged record's data ends), and dropped
// whenever the manager's sets change; what lands on the canvas is what the
// walk would have put there, byte for byte.
//
// Forms live on the runtime heap, not in the game's memory manager, so they
// never show in its accounting or its reports.
#ifndef TOLLIVEX_SPRMAN_FORM_H
#define TOLLIVEX_SPRMAN_FORM_H

#include "sprman_internal.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace sprman {

struct Form {
    const unsigned char* record = nullptr; // what it was built from

    struct Span {
        int32_t column;
        int32_t length;
        uint32_t pixels; // index of the first pixel in `pixels`
    };

    // Rows [0, completeRows) were read whole; the row after them, if it was
    // begun (enteredRows > completeRows), holds what came before the data ran out.
    int completeRows = 0;
    int enteredRows = 0;
    int widest = 0; // the right end of the rightmost span
    std::vector<uint32_t> rowSpans; // spans of row r: [rowSpans[r], rowSpans[r + 1])
    std::vector<Span> spans;
    std::vector<unsigned char> pixels;

    size_t Bytes() const
    {
        return sizeof(Form) + rowSpans.capacity() * sizeof(uint32_t) + spans.capacity() * sizeof(Span) +
               pixels.capacity();
    }
};

}

// The forms of one manager, by set and slot.
struct SpriteManager::DisplayForms {
    const sprman::Form& Of(unsigned char set, unsigned short slot, const Sprite& sprite);
    void Clear();
    size_t Bytes() const { return bytes; }

private:
    std::vector<std::unique_ptr<sprman::Form>> forms[256];
    size_t bytes = 0;
};

#endif
