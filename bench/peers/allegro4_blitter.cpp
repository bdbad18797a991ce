// allegro4_blitter.cpp - Allegro 4's RLE sprites on an 8-bit memory bitmap.
#include "peers.h"

#define ALLEGRO_NO_MAGIC_MAIN
#include <allegro.h>

namespace {

class Allegro4Blitter final : public PeerBlitter {
public:
    Allegro4Blitter(const std::vector<PeerPicture>& pictures, int width, int height)
    {
        install_allegro(SYSTEM_NONE, &errno, atexit);
        set_color_depth(8);
        canvas = create_bitmap_ex(8, width, height);
        for (const PeerPicture& picture : pictures) {
            BITMAP* source = create_bitmap_ex(8, picture.width, picture.height);
            for (int y = 0; y < picture.height; ++y)
                memcpy(source->line[y], &picture.pixels[size_t(y) * picture.width], size_t(picture.width));
            sprites.push_back(get_rle_sprite(source)); // colour 0 is the 8-bit mask colour
            destroy_bitmap(source);
        }
    }

    ~Allegro4Blitter() override
    {
        for (RLE_SPRITE* sprite : sprites)
            destroy_rle_sprite(sprite);
        destroy_bitmap(canvas);
    }

    const char* Name() const override { return "Allegro 4"; }
    void Fill(unsigned char colour) override { clear_to_color(canvas, colour); }
    void Draw(int picture, int x, int y) override { draw_rle_sprite(canvas, sprites[size_t(picture)], x, y); }
    const unsigned char* Row(int y) const override { return canvas->line[y]; }

private:
    BITMAP* canvas = nullptr;
    std::vector<RLE_SPRITE*> sprites;
};

}

std::unique_ptr<PeerBlitter> MakeAllegro4Blitter(const std::vector<PeerPicture>& pictures, int width, int height)
{
    return std::make_unique<Allegro4Blitter>(pictures, width, height);
}
