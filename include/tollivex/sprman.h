// sprman.h - SpriteManager: sprite sets, their encoding, display and hit tests.
//
// A sprite set is a dataset of type "SPR1": a numbered array of slots, each
// empty or holding one run-length encoded sprite record (a 10-byte header of
// type, width, height and hot spot, then the encoded rows). Sets load whole
// from library blocks, are edited in memory and save back byte for byte.
// Sprites are drawn straight from their rows onto the associated display
// canvas: normal, mirrored, single-colour, shading and textured, each with a
// fast path for sprites wholly inside the canvas and a clipped one.
// Single-threaded; records are walked within their set's data area only.
#ifndef TOLLIVEX_SPRMAN_H
#define TOLLIVEX_SPRMAN_H

#include "dataman.h"
#include "tvxcommon.h"

class Canvas;
class Library;
class MemManager;

// Record types in the first header field.
const unsigned short SPRITE_NORMAL = 6;
const unsigned short SPRITE_SHADE = 7;

// Display flag bits.
const unsigned long SPRITE_AT_HOTSPOT = 1;   // the position names the hot spot
const unsigned long SPRITE_FROM_HOTSPOT = 2; // the opposite shift (dispatchers only)

class TVX_API SpriteManager : public DataManager {
public:
    SpriteManager();
    SpriteManager(MemManager* memory, Library* library);
    ~SpriteManager() override;

    void AssociateCanvas(Canvas* canvas);
    void DissociateCanvas();

    // Sets.
    ERRORSTATUS DatasetFromBlock(char* name, unsigned char* block, unsigned long size,
                                 unsigned char* index) override;
    void DiscardDataset(unsigned char index) override;
    ERRORSTATUS RequestSaveBlock(unsigned char index, unsigned char** block, unsigned long* size) override;
    ERRORSTATUS ReleaseSaveBlock(unsigned char** block) override;
    ERRORSTATUS CreateNewSpriteset(char* name, unsigned short count, unsigned char* index);
    unsigned short QuerySpritesetSize(unsigned char index);
    ERRORSTATUS ResizeSpriteset(unsigned char index, unsigned short count);

    // Slots.
    ERRORSTATUS SetSprite(unsigned char* record, unsigned long size, unsigned char index, unsigned short sprite);
    ERRORSTATUS EraseSprite(unsigned char index, unsigned short sprite);
    ERRORSTATUS QuerySprite(unsigned char** record, unsigned long* size, unsigned char index,
                            unsigned short sprite);
    ERRORSTATUS MoveSprites(unsigned char index, unsigned short from, unsigned short to, unsigned short count);
    ERRORSTATUS FindEmptySlot(unsigned char index, unsigned short* sprite);
    ERRORSTATUS SetHotSpot(short x, short y, unsigned char index, unsigned short sprite);
    int QueryChanged(unsigned char index);

    ERRORSTATUS SetRemapMatrix(unsigned char* matrix);
    void ClearRemapMatrix();

    // Encoding from the encode canvas.
    void SetEncodeBufferSize(unsigned long size);
    unsigned long QueryEncodeBufferSize();
    void AssociateEncodeCanvas(Canvas* canvas);
    void DissociateEncodeCanvas();
    ERRORSTATUS EncodeSprite(unsigned char set, unsigned short sprite, unsigned short x, unsigned short y,
                             unsigned short width, unsigned short height, short hotX, short hotY,
                             unsigned char* transparent);
    ERRORSTATUS EncodeTransSprite(unsigned char set, unsigned short sprite, unsigned short x, unsigned short y,
                                  unsigned short width, unsigned short height, short hotX, short hotY,
                                  unsigned char* table);

    // Display onto the associated canvas.
    void DisplaySprite(short x, short y, unsigned char set, unsigned short sprite, unsigned long flags);
    void DisplayClippedSprite(short x, short y, unsigned char set, unsigned short sprite, unsigned long flags);
    void DisplayUnclippedSprite(short x, short y, unsigned char set, unsigned short sprite, unsigned long flags);
    void DisplaySpriteRev(short x, short y, unsigned char set, unsigned short sprite);
    void DisplayClippedSpriteRev(short x, short y, unsigned char set, unsigned short sprite);
    void DisplayUnclippedSpriteRev(short x, short y, unsigned char set, unsigned short sprite);
    void DisplaySpriteSolid(short x, short y, unsigned char set, unsigned short sprite, unsigned long flags);
    void DisplayClippedSpriteSolid(short x, short y, unsigned char set, unsigned short sprite,
                                   unsigned long flags);
    void DisplayUnclippedSpriteSolid(short x, short y, unsigned char set, unsigned short sprite,
                                     unsigned long flags);
    void DisplayTransSprite(short x, short y, unsigned char set, unsigned short sprite);
    void DisplayClippedTransSprite(short x, short y, unsigned char set, unsigned short sprite);
    void DisplayUnclippedTransSprite(short x, short y, unsigned char set, unsigned short sprite);
    void DisplayClippedTransSpriteSolid(short x, short y, unsigned char set, unsigned short sprite);
    void DisplayAnySprite(short x, short y, unsigned char set, unsigned short sprite);
    void DisplayAnySpriteTransSolid(short x, short y, unsigned char set, unsigned short sprite);
    void DisplaySpriteTexture(short x, short y, unsigned char set, unsigned short sprite, short originX,
                              short originY, unsigned short texLeft, unsigned short texTop,
                              unsigned short texWidth, unsigned short texHeight, Canvas* texture,
                              unsigned long flags);
    void DisplayClippedSpriteTexture(short x, short y, unsigned char set, unsigned short sprite, short originX,
                                     short originY, unsigned short texLeft, unsigned short texTop,
                                     unsigned short texWidth, unsigned short texHeight, Canvas* texture,
                                     unsigned long flags);
    void DisplayUnclippedSpriteTexture(short x, short y, unsigned char set, unsigned short sprite,
                                       short originX, short originY, unsigned short texLeft,
                                       unsigned short texTop, unsigned short texWidth, unsigned short texHeight,
                                       Canvas* texture, unsigned long flags);

    // Reading records without drawing them.
    int HitCheck(short x, short y, unsigned char set, unsigned short sprite, unsigned long flags);
    void RemapSpriteset(unsigned char set);
    void RemapSprite(unsigned char* record);
    ERRORSTATUS QuerySpriteDimensions(unsigned char set, unsigned short sprite, unsigned short* width,
                                      unsigned short* height, short* hotX, short* hotY);

    // Sprites are drawn from a display form built on first display and kept
    // until the sets change; these are the bytes the forms take now.
    unsigned long QueryDisplayFormBytes();

    struct Sprite;       // a record located in its set, with the bound of its data area
    struct Target;       // the display canvas as the drawing code sees it
    struct Texture;      // the tiled source of the textured kind
    struct DisplayForms; // the display forms, by record

private:
    ERRORSTATUS QuerySpriteSize(unsigned char index, unsigned short sprite, unsigned long* size);

    void Initialise();
    bool Obtain(void** block, unsigned long size);
    void Release(void** block);
    bool ObtainBytes(unsigned char** block, unsigned long size);
    bool ObtainTable(unsigned char*** table, unsigned long count);
    void ReleaseBytes(unsigned char** block);
    void ReleaseTable(unsigned char*** table);
    bool SetInUse(unsigned char set) const;
    bool CanEncode(const unsigned char* table, unsigned char set, unsigned short sprite, unsigned short width,
                   unsigned short height);
    bool FindFreeSetSlot(unsigned char* slot);
    bool PrepareSetTable(unsigned char slot, unsigned long count);
    void OccupySetSlot(unsigned char slot, const char* name, unsigned short count, unsigned long dataSize,
                       unsigned long memory);
    void StoreSetName(unsigned char slot, const char* name);
    unsigned char* DataEndOf(const unsigned char* record) const;
    void RemapRecord(unsigned char* record, const unsigned char* end);
    ERRORSTATUS RestoreStoredColours(unsigned char set);
    void ChangedSets();

    // Display plumbing: the common checks, then the paths proper.
    bool LookUp(unsigned char set, unsigned short sprite, Sprite* found, bool reportMissing = false);
    void ReportDisplaying(const char* what, unsigned char set, unsigned short sprite) const;
    bool PrepareTarget(Target* target);
    bool PrepareDisplay(unsigned char set, unsigned short sprite, Sprite* found, Target* target,
                        bool reportMissing = false);
    bool PreparePath(unsigned char set, unsigned short sprite, unsigned short type, bool inside,
                     unsigned long flags, short* x, short* y, Sprite* s, Target* t);
    void ApplyHotSpot(const Sprite& sprite, unsigned long flags, short* x, short* y) const;
    bool Outside(const Sprite& sprite, const Target& target, short x, short y) const;
    bool Inside(const Sprite& sprite, const Target& target, short x, short y) const;
    bool PrepareTexture(Canvas* texture, unsigned short texLeft, unsigned short texTop, unsigned short texWidth,
                        unsigned short texHeight, short originX, short originY, Texture* found);

    Canvas* displayCanvas;
    Canvas* encodeCanvas;
    unsigned short canvasWidth;
    unsigned short canvasHeight;
    long canvasRowIncrement;
    unsigned long encodeBufferSize;
    unsigned long remapActive;
    unsigned char remapMatrix[256];
    unsigned char* setData[256];
    unsigned char** setTable[256];
    unsigned long setDataSize[256];
    unsigned char* saveBlocks; // save blocks handed out and not yet given back
    DisplayForms* displayForms;
};

#endif
