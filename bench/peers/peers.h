// peers.h - the same sprites drawn by the RLE blitters a game programmer
// would otherwise pick, for side-by-side timing. Each peer draws 8-bit
// pictures (colour 0 transparent) onto its own 8-bit canvas of the given
// size, clipping at the edges, and lets the benchmark read the canvas back
// to check that every library drew the same pixels.
#ifndef TOLLIVEX_BENCH_PEERS_H
#define TOLLIVEX_BENCH_PEERS_H

#include <memory>
#include <string>
#include <vector>

struct PeerPicture {
    int width;
    int height;
    std::vector<unsigned char> pixels;
};

class PeerBlitter {
public:
    virtual ~PeerBlitter() = default;
    virtual const char* Name() const = 0;
    virtual void Fill(unsigned char colour) = 0;
    virtual void Draw(int picture, int x, int y) = 0;
    virtual const unsigned char* Row(int y) const = 0;
};

std::unique_ptr<PeerBlitter> MakeSdl2Blitter(const std::vector<PeerPicture>& pictures, int width, int height);
std::unique_ptr<PeerBlitter> MakeAllegro4Blitter(const std::vector<PeerPicture>& pictures, int width, int height);

#endif
