// sprman_form.cpp - building and keeping sprites' display forms.
#include "sprman_form.h"

#include <algorithm>

using namespace sprman;

namespace {

// Appends pixels at a column, joining the previous span when they touch.
class FormWriter {
public:
    explicit FormWriter(Form& form) : form(form) {}

    void StartRow() { form.rowSpans.push_back(static_cast<uint32_t>(form.spans.size())); }

    void Copy(int column, const unsigned char* from, int count)
    {
        Open(column, count);
        form.pixels.insert(form.pixels.end(), from, from + count);
    }

    void Fill(int column, unsigned char value, int count)
    {
        Open(column, count);
        form.pixels.insert(form.pixels.end(), size_t(count), value);
    }

private:
    void Open(int column, int count)
    {
        form.widest = std::max(form.widest, column + count);
        const bool rowHasSpans = form.spans.size() > form.rowSpans.back();
        if (rowHasSpans && form.spans.back().column + form.spans.back().length == column) {
            form.spans.back().length += count;
            return;
        }
        form.spans.push_back({column, count, static_cast<uint32_t>(form.pixels.size())});
    }

    Form& form;
};

// Reads one row's commands as the record walk does: false when the data
// ends inside the row, after keeping what came before.
bool ReadRow(const unsigned char*& p, const unsigned char* end, FormWriter& writer)
{
    int column = 0;
    for (unsigned k = *p++; k > 0; --k) {
        if (p >= end)
            return false;
        const unsigned char command = *p++;
        const int n = command & 63;
        switch (command >> 6) {
        case kLiteral:
            if (end - p < n)
                return false;
            if (n > 0)
                writer.Copy(column, p, n);
            p += n;
            column += n;
            break;
        case kRepeat:
            if (p >= end)
                return false;
            if (n > 0)
                writer.Fill(column, *p, n);
            ++p;
            column += n;
            break;
        case kSkip:
            column += n;
            break;
        default: // a pair of colours, alternating
            if (end - p < 2)
                return false;
            for (int i = 0; i < 2 * n; ++i)
                writer.Fill(column + i, p[i & 1], 1);
            p += 2;
            column += 2 * n;
            break;
        }
    }
    return true;
}

Form Build(const SpriteManager::Sprite& sprite)
{
    Form form;
    form.record = sprite.record;
    FormWriter writer(form);
    const unsigned char* p = sprite.Rows();
    for (int row = 0; row < sprite.height && p < sprite.end; ++row) {
        writer.StartRow();
        ++form.enteredRows;
        if (!ReadRow(p, sprite.end, writer))
            break;
        ++form.completeRows;
    }
    form.rowSpans.push_back(static_cast<uint32_t>(form.spans.size()));
    return form;
}

}

const Form& SpriteManager::DisplayForms::Of(unsigned char set, unsigned short slot, const Sprite& sprite)
{
    std::vector<std::unique_ptr<Form>>& ofSet = forms[set];
    if (slot >= ofSet.size())
        ofSet.resize(size_t(slot) + 1);
    std::unique_ptr<Form>& form = ofSet[slot];
    if (form == nullptr || form->record != sprite.record) {
        if (form != nullptr)
            bytes -= form->Bytes();
        form = std::make_unique<Form>(Build(sprite));
        bytes += form->Bytes();
    }
    return *form;
}

void SpriteManager::DisplayForms::Clear()
{
    if (bytes == 0)
        return;
    for (auto& ofSet : forms)
        ofSet.clear();
    bytes = 0;
}
