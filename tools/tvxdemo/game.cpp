// game.cpp - the play field's rules and drawing.
#include "game.h"

#include <algorithm>
#include <cstdlib>
#include <cstdio>

namespace {
const int kGround = 420;     // where the ship flies, its hot spot at its centre
const int kShipStep = 6;
const int kFallers = 9;
const unsigned char kWhite = 15;  // brightest grey
const unsigned char kYellow = 63; // brightest yellow
}

PlayField::PlayField(const Art& art, int width, int height, int speed, std::string player)
    : art(art), width(width), height(height), speed(std::clamp(speed, 1, 9)), player(std::move(player)),
      shipX(width / 2), shipY(kGround)
{
    fallers.resize(kFallers);
    for (Faller& faller : fallers)
        faller.active = false;
}

uint32_t PlayField::Random(uint32_t below)
{
    seed = seed * 1103515245u + 12345u;
    return (seed >> 16) % below;
}

void PlayField::Spawn()
{
    for (Faller& faller : fallers) {
        if (faller.active)
            continue;
        faller = Faller{16 + int(Random(uint32_t(width - 32))), -16, 1 + int(Random(uint32_t(speed))) + speed / 2,
                        Random(3) == 0 ? ROCK : GEM, true};
        return;
    }
}

// The faller's centre on one of the ship's opaque pixels, the ship's hot
// spot (its centre) giving the reference.
bool PlayField::Touches(const Faller& faller) const
{
    const int dx = faller.x - shipX, dy = faller.y - shipY;
    if (dx < -16 || dx >= 16 || dy < -16 || dy >= 16)
        return false;
    return art.sprites->HitCheck(short(dx + 16), short(dy + 16), art.set, SHIP, 0) == 1;
}

void PlayField::Step(const Controls& controls, std::vector<Sound>* sounds)
{
    ++frame;
    if (controls.left)
        shipX = std::max(16, shipX - kShipStep);
    if (controls.right)
        shipX = std::min(width - 17, shipX + kShipStep);
    if (frame % std::max(2, 14 - speed) == 0)
        Spawn();
    for (Faller& faller : fallers) {
        if (!faller.active)
            continue;
        faller.y += faller.speed;
        if (faller.y > height + 16) {
            faller.active = false;
        } else if (lives > 0 && Touches(faller)) {
            faller.active = false;
            if (faller.kind == GEM) {
                score += 10;
                sounds->push_back(Sound::Pickup);
            } else {
                lives = std::max(0, lives - 1);
                flash = 12;
                sounds->push_back(Sound::Boom);
            }
        }
    }
    flash = std::max(0, flash - 1);
}

Controls PlayField::Autopilot() const
{
    // The lowest gem the ship can still reach before it lands.
    const Faller* target = nullptr;
    for (const Faller& faller : fallers) {
        if (!faller.active || faller.kind != GEM || faller.y >= shipY)
            continue;
        const int framesLeft = (shipY - faller.y) / faller.speed;
        const bool reachable = std::abs(faller.x - shipX) <= framesLeft * kShipStep;
        if (reachable && (!target || faller.y > target->y))
            target = &faller;
    }
    Controls controls;
    if (target != nullptr) {
        controls.left = target->x < shipX - kShipStep / 2;
        controls.right = target->x > shipX + kShipStep / 2;
    }
    return controls;
}

void PlayField::DrawText(short x, short y, const std::string& text, unsigned char colour, Canvas& canvas)
{
    std::vector<char> writable(text.begin(), text.end());
    writable.push_back('\0');
    art.font->PutShadowString(x, y, writable.data(), colour, 0, &canvas);
}

void PlayField::Draw(Canvas& canvas)
{
    SpriteManager& sprites = *art.sprites;
    const int planetX = 520 - frame / 4 % 600;
    sprites.DisplaySpriteTexture(short(planetX), 70, art.set, PLANET, short(frame), 0, 0, 0, art.texture->QueryWidth(),
                                 art.texture->QueryHeight(), art.texture, 0);
    canvas.SetDrawColor(static_cast<unsigned char>(8 * 16 + 8 + (frame / 3) % 8)); // a violet that breathes
    sprites.DisplaySpriteSolid(short(80 + (frame * 2) % 480), short(150 + (frame / 5) % 20), art.set, GHOST, 0);
    for (int i = 0; i < 6; ++i)
        if ((frame / 8 + i) % 3 != 0)
            sprites.DisplaySprite(short(40 + i * 100), short(30 + (i * 37) % 90), art.set, STAR, 0);
    for (const Faller& faller : fallers) {
        if (!faller.active)
            continue;
        sprites.DisplayTransSprite(short(faller.x - 20), short(kGround + 18), art.shadow, 0);
        if (faller.kind == ROCK && faller.x < width / 2)
            sprites.DisplayClippedSpriteRev(short(faller.x - 16), short(faller.y - 16), art.set, ROCK);
        else
            sprites.DisplaySprite(short(faller.x), short(faller.y), art.set, faller.kind, SPRITE_AT_HOTSPOT);
    }
    sprites.DisplayTransSprite(short(shipX - 20), short(kGround + 18), art.shadow, 0);
    if (lives > 0 && flash % 4 < 2)
        sprites.DisplaySprite(short(shipX), short(shipY), art.set, SHIP, SPRITE_AT_HOTSPOT);
    for (int i = 0; i < lives; ++i)
        sprites.DisplaySprite(short(width - 40 - i * 36), 8, art.set, HEART, 0);

    char line[64];
    std::snprintf(line, sizeof line, "SCORE %d", score);
    DrawText(12, 12, line, kYellow, canvas);
    DrawText(12, 32, player.empty() ? "PLAYER" : player, kWhite, canvas);
    if (lives == 0)
        DrawText(short(width / 2 - 40), short(height / 2), "GAME OVER", kYellow, canvas);
}
