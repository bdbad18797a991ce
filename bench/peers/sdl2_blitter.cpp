// sdl2_blitter.cpp - SDL2's RLE-accelerated colour-key blits between 8-bit
// surfaces that share one palette, so no colour mapping is involved.
#include "peers.h"

#include <SDL.h>

namespace {

class Sdl2Blitter final : public PeerBlitter {
public:
    Sdl2Blitter(const std::vector<PeerPicture>& pictures, int width, int height)
    {
        palette = SDL_AllocPalette(256);
        SDL_Color grey[256];
        for (int i = 0; i < 256; ++i)
            grey[i] = {Uint8(i), Uint8(i), Uint8(i), 255};
        SDL_SetPaletteColors(palette, grey, 0, 256);
        canvas = Surface(width, height);
        for (const PeerPicture& picture : pictures) {
            SDL_Surface* surface = Surface(picture.width, picture.height);
            for (int y = 0; y < picture.height; ++y)
                SDL_memcpy(static_cast<Uint8*>(surface->pixels) + y * surface->pitch,
                           &picture.pixels[size_t(y) * picture.width], size_t(picture.width));
            SDL_SetColorKey(surface, SDL_TRUE, 0);
            SDL_SetSurfaceRLE(surface, 1);
            SDL_Rect nowhere{-10000, -10000, picture.width, picture.height};
            SDL_BlitSurface(surface, nullptr, canvas, &nowhere); // encodes the RLE form once
            sprites.push_back(surface);
        }
    }

    ~Sdl2Blitter() override
    {
        for (SDL_Surface* surface : sprites)
            SDL_FreeSurface(surface);
        SDL_FreeSurface(canvas);
        SDL_FreePalette(palette);
    }

    const char* Name() const override { return "SDL2"; }
    void Fill(unsigned char colour) override { SDL_FillRect(canvas, nullptr, colour); }

    void Draw(int picture, int x, int y) override
    {
        SDL_Rect at{x, y, 0, 0};
        SDL_BlitSurface(sprites[size_t(picture)], nullptr, canvas, &at);
    }

    const unsigned char* Row(int y) const override
    {
        return static_cast<const unsigned char*>(canvas->pixels) + y * canvas->pitch;
    }

private:
    SDL_Surface* Surface(int width, int height)
    {
        SDL_Surface* surface = SDL_CreateRGBSurfaceWithFormat(0, width, height, 8, SDL_PIXELFORMAT_INDEX8);
        SDL_SetSurfacePalette(surface, palette);
        return surface;
    }

    SDL_Palette* palette = nullptr;
    SDL_Surface* canvas = nullptr;
    std::vector<SDL_Surface*> sprites;
};

}

std::unique_ptr<PeerBlitter> MakeSdl2Blitter(const std::vector<PeerPicture>& pictures, int width, int height)
{
    return std::make_unique<Sdl2Blitter>(pictures, width, height);
}
