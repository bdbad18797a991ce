// game.h - the demo's play field: a ship the player steers along the dunes,
// gems to catch and rocks to dodge, under a textured planet and a ghost.
//
// Everything moves by whole pixels from a fixed seed, so the same input
// gives the same frames on every system. The field draws every sprite kind
// the library has (normal, mirrored, solid, shade, textured), tests hits
// pixel by pixel, and says which sounds to play; the caller plays them.
#ifndef TVXDEMO_GAME_H
#define TVXDEMO_GAME_H

#include <tollivex.h>

#include <cstdint>
#include <string>
#include <vector>

// Sprites of the "sprites" set, by slot.
enum DemoSprite { SHIP, GEM, ROCK, PLANET, GHOST, STAR, CRATE, HEART };

struct Art {
    SpriteManager* sprites;
    Font* font;
    unsigned char set;    // the "sprites" set
    unsigned char shadow; // the shade set
    Canvas* texture;      // painted from the "texture" PCX block
};

struct Controls {
    bool left = false;
    bool right = false;
};

enum class Sound { Pickup, Boom };

class PlayField {
public:
    PlayField(const Art& art, int width, int height, int speed, std::string player);

    // One frame of play; the sounds it asks for are appended to `sounds`.
    void Step(const Controls& controls, std::vector<Sound>* sounds);
    void Draw(Canvas& canvas);

    // What a player chasing the lowest gem would press.
    Controls Autopilot() const;

    int Score() const { return score; }
    int Lives() const { return lives; }

private:
    struct Faller {
        int x, y, speed;
        DemoSprite kind;
        bool active;
    };

    uint32_t Random(uint32_t below);
    void Spawn();
    bool Touches(const Faller& faller) const;
    void DrawText(short x, short y, const std::string& text, unsigned char colour, Canvas& canvas);

    Art art;
    int width, height, speed;
    std::string player;
    uint32_t seed = 12345;
    int frame = 0;
    int shipX;
    int shipY;
    int score = 0;
    int lives = 3;
    int flash = 0;
    std::vector<Faller> fallers;
};

#endif
