// Draws through the installed headers and library; exit status 0 when the
// pixels land where they should.
#include <tollivex.h>

int main()
{
    Canvas canvas(8, 4, 1, CANVAS_MEMORY);
    canvas.SetDrawColor(7);
    canvas.FilledRectClipped(2, 1, 5, 2);
    return canvas.GetPixel(2, 1) == 7 && canvas.GetPixel(6, 1) == 0 ? 0 : 1;
}
