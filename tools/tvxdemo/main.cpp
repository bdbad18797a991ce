// tvxdemo - a small game built on nothing but the library's public API.
//
// A title panel of window-system widgets (name, speed, scene, a button with
// a click) leads into a play field where a ship catches gems and dodges
// rocks, drawn with every sprite kind, scored in a sprite font, with sound
// effects played both ways (software-mixed notes and hardware notes) over a
// streamed music loop. Every asset comes from TVXDEMO.LIB, which the asset
// tools build from the pictures and sounds in assets/.
//
// Headless by default: a fixed number of frames with scripted input, a few
// frames written as PNG with a contact sheet, and the sound as WAVE files.
// --window plays it in an SDL window (portable build with SDL2); --frames N
// ends either mode after N frames with the scripted input.
#include "game.h"
#include "output.h"
#include "screen.h"
#include "script.h"
#include "title.h"

#include <tollivex.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

const int kWidth = 640, kHeight = 480;
const unsigned kRate = 11025;       // the sounds' own rate: no resampling
const int kFramesPerSecond = 25;
const unsigned long kBlock = kRate / kFramesPerSecond; // mixed bytes a frame
const unsigned long kLead = 4 * kBlock;                // mixing ahead of the card
const int kDefaultFrames = 300;
const int kKeptFrames[] = {3, 27, 90, 200, 299};

struct Options {
    bool window = false;
    int frames = kDefaultFrames;
    bool scripted = true;
    std::string out = ".";
    std::string library = "TVXDEMO.LIB";
};

bool Parse(int argc, char** argv, Options* options)
{
    bool framesGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--window") {
            options->window = true;
        } else if (arg == "--frames" && hasValue) {
            options->frames = std::atoi(argv[++i]);
            framesGiven = options->frames > 0;
            if (!framesGiven)
                return false;
        } else if (arg == "--out" && hasValue) {
            options->out = argv[++i];
        } else if (arg == "--library" && hasValue) {
            options->library = argv[++i];
        } else {
            return false;
        }
    }
    // A window without a frame count is played by hand.
    options->scripted = !options->window || framesGiven;
    if (options->window && !framesGiven)
        options->frames = 1 << 30;
    return true;
}

bool Fail(const char* what, unsigned code)
{
    std::fprintf(stderr, "tvxdemo: %s failed (error %u)\n", what, code);
    return false;
}

// A block of the library file, copied out.
bool Block(Library& library, const char* name, std::vector<unsigned char>* bytes)
{
    std::vector<char> writable(name, name + std::strlen(name) + 1);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    if (library.RequestLibrary(writable.data(), &data, &size) == ERR_FAILURE)
        return Fail(name, library.errorCode);
    bytes->assign(data, data + size);
    library.ReleaseLibrary(&data);
    return true;
}

// A PCX block painted into a memory canvas of its own size.
std::unique_ptr<Canvas> Picture(Library& library, const char* name)
{
    std::vector<unsigned char> pcx;
    if (!Block(library, name, &pcx))
        return nullptr;
    PcxPainter painter(pcx.data(), pcx.size());
    _BITMAPSTATS stats{};
    if (painter.QueryBitmapStats(&stats) == ERR_FAILURE)
        return nullptr;
    auto canvas = std::make_unique<Canvas>(stats.width, stats.height, 1, CANVAS_MEMORY);
    painter.AssociateCanvas(canvas.get());
    if (painter.PaintCanvas(0, 1) == ERR_FAILURE)
        return nullptr;
    return canvas;
}

// The samples of a WAVE block as tvxwav stores it: 44 bytes, then samples.
struct Samples {
    std::vector<unsigned char> bytes;
    unsigned char* data() { return bytes.data() + 44; }
    unsigned long length() const
    {
        return bytes.size() < 44 ? 0 : bytes[40] | bytes[41] << 8 | bytes[42] << 16 | unsigned(bytes[43]) << 24;
    }
};

struct Sounds {
    Samples click, pickup, boom, music;
    unsigned long clickHandle = 0xFFFFFFFFul, boomHandle = 0xFFFFFFFFul, musicHandle = 0xFFFFFFFFul;
    _DMStreamingInfo stream{};
};

class Demo {
public:
    explicit Demo(const Options& options) : options(options) {}
    int Run();

private:
    bool LoadAssets();
    bool OpenDisplay();
    bool OpenSound();
    void Title(int frame, std::vector<InputEvent> events);
    void Play(int frame, const Controls& controls);
    void Present();
    void MixSound();
    void Keep(int frame);
    bool WriteOutputs();

    Options options;
    MemManager memory;
    DiskData disk{&memory};
    Library library{&memory, &disk};
    SpriteManager sprites{&memory, &library};
    Font font{&sprites};
    _FontDef fontDef{};
    Palette palette{&memory};
    Digimix mixer{&memory};
    Sounds sounds;
    std::unique_ptr<Canvas> backdrop, texture, display;
    unsigned char spriteSet = 0, shadowSet = 0, fontSet = 0;
    void* window = nullptr;
    std::unique_ptr<MWin> root;
    std::unique_ptr<TitlePanel> title;
    std::unique_ptr<PlayField> field;
    int playStart = -1;
    unsigned long mixAt = kLead;
    std::vector<unsigned char> mixed;
    std::vector<Frame> kept;
    std::vector<int> keptAt;
};

bool Demo::LoadAssets()
{
    std::vector<char> file(options.library.begin(), options.library.end());
    file.push_back('\0');
    if (library.RegisterBlocks(file.data(), LIB_ALL_TYPES) == ERR_FAILURE)
        return Fail(("reading " + options.library).c_str(), library.errorCode);
    char spritesName[] = "sprites", shadowName[] = "shadow", fontName[] = "font", paletteName[] = "palette";
    if (sprites.RequestDataset(spritesName, &spriteSet) == ERR_FAILURE ||
        sprites.RequestDataset(shadowName, &shadowSet) == ERR_FAILURE ||
        sprites.RequestDataset(fontName, &fontSet) == ERR_FAILURE)
        return Fail("loading the sprite sets", sprites.errorCode);
    std::vector<unsigned char> block;
    if (!Block(library, paletteName, &block) ||
        palette.PaletteFromBlock(paletteName, block.data(), block.size()) == ERR_FAILURE)
        return Fail("loading the palette", palette.errorCode);
    backdrop = Picture(library, "backdrop");
    texture = Picture(library, "texture");
    if (!backdrop || !texture)
        return Fail("painting the pictures", 0);
    return Block(library, "click", &sounds.click.bytes) && Block(library, "pickup", &sounds.pickup.bytes) &&
           Block(library, "boom", &sounds.boom.bytes) && Block(library, "music", &sounds.music.bytes);
}

bool Demo::OpenDisplay()
{
    window = OpenScreen(kWidth, kHeight, options.window);
    if (window == nullptr)
        return Fail("opening a window", 0);
    unsigned short status = 0;
    if (CanvasInitialize(0, window, kWidth, kHeight, 8, &status) == ERR_FAILURE)
        return Fail("opening the display", status);
    display = std::make_unique<Canvas>(kWidth, kHeight, 1, CANVAS_DIRECTDRAW);
    if (display->errorCode != 0)
        return Fail("making the display canvas", display->errorCode);
    display->SetSystemVariables(ScreenDeviceContext(window));
    display->SetSystemPalette(&palette, 0);
    // Locked once before anyone caches its geometry: a display canvas has no
    // row step until its first lock.
    int restored = 0;
    if (display->Lock(&restored, 0) == ERR_FAILURE)
        return Fail("locking the display", 0);
    display->Unlock();
    sprites.AssociateCanvas(display.get());
    fontDef = _FontDef{fontSet, 8, 0, FONT_FIXED_PITCH | FONT_SOLID};
    font.ActivateFont(&fontDef);
    font.AssociateCanvas(display.get());
    root = std::make_unique<MWin>(nullptr);
    root->SetSize(kWidth, kHeight);
    root->SetCanvas(display.get());
    return true;
}

bool Demo::OpenSound()
{
    if (mixer.InitSoundCard(window, kRate, 1, 8) == ERR_FAILURE)
        return Fail("opening the sound device", mixer.errorCode);
    mixer.InitTracks(4);
    SetMWinDigimix(&mixer);
    sounds.clickHandle = mixer.CreateSound(sounds.click.data(), sounds.click.length(), 0, nullptr, nullptr);
    sounds.boomHandle = mixer.CreateSound(sounds.boom.data(), sounds.boom.length(), 0, nullptr, nullptr);
    sounds.stream = _DMStreamingInfo{sounds.music.data(), 0, 0, static_cast<uint32_t>(sounds.music.length()),
                                     DMSTREAM_MEMORY};
    sounds.musicHandle = mixer.CreateSound(nullptr, 8192, DMNOTE_STREAMING, DefaultStreamingCallback, &sounds.stream);
    return true;
}

void Demo::Title(int frame, std::vector<InputEvent> events)
{
    if (!title)
        title = std::make_unique<TitlePanel>(root.get(), &memory, &sprites, &fontDef, sounds.clickHandle);
    for (const InputEvent& event : events)
        Feed(root.get(), event);
    title->Update(MWIN_UPDATE_FORCE);
    if (title->Started()) {
        std::printf("frame %d: %s plays at speed %d in the %s\n", frame, title->Player().c_str(), title->Speed(),
                    title->Scene());
        field = std::make_unique<PlayField>(Art{&sprites, &font, spriteSet, shadowSet, texture.get()}, kWidth,
                                            kHeight, title->Speed(), title->Player());
        title.reset();
        playStart = frame + 1;
    }
}

void Demo::Play(int frame, const Controls& controls)
{
    std::vector<Sound> wanted;
    field->Step(controls, &wanted);
    field->Draw(*display);
    for (Sound sound : wanted) {
        if (sound == Sound::Pickup) // mixed in software, on any track of class 1
            mixer.PlaySound(sounds.pickup.data(), 0, sounds.pickup.length() - 1, DMNOTE_SAMPLED | DMNOTE_CLASS1, 0,
                            0, 0);
        else // played by the sound card from its own copy
            mixer.PlaySound(sounds.boomHandle, 0, 0, 0xFFFF, 0xFFFF);
    }
    if (frame % kFramesPerSecond == 0)
        std::printf("frame %d: score %d, lives %d\n", frame, field->Score(), field->Lives());
}

// The software mix of one frame, into the primary buffer ahead of the card,
// and kept as the card will play it.
void Demo::MixSound()
{
    mixer.mixOffset = mixAt;
    mixer.mixLength = kBlock;
    mixer.QueueNewNotes();
    mixer.FillPreMix();
    for (unsigned long i = 0; i < kBlock; ++i) {
        const unsigned v = mixer.preMix[i];
        mixed.push_back(v > mixer.clipHigh ? 255 : v >= mixer.clipLow ? static_cast<unsigned char>(v - mixer.outputBias) : 0);
    }
    mixer.MixInPreMix();
    mixer.Poll();
    mixAt = (mixAt + kBlock) % mixer.primaryBytes;
}

void Demo::Keep(int frame)
{
    for (int wanted : kKeptFrames) {
        if (wanted != frame)
            continue;
        Frame shot{kWidth, kHeight, std::vector<unsigned char>(size_t(kWidth) * kHeight * 3)};
        if (ReadScreen(*display, palette, shot.rgb.data(), kWidth, kHeight)) {
            kept.push_back(std::move(shot));
            keptAt.push_back(frame);
        }
    }
}

bool Demo::WriteOutputs()
{
    bool ok = true;
    for (size_t i = 0; i < kept.size(); ++i) {
        const std::string path = options.out + "/tvxdemo-frame" + std::to_string(keptAt[i]) + ".png";
        ok = WritePng(path, kept[i]) && ok;
        std::printf("wrote %s\n", path.c_str());
    }
    const std::string sheet = options.out + "/tvxdemo-sheet.png";
    ok = WritePng(sheet, ContactSheet(kept, 3, 2)) && ok;
    const std::string mix = options.out + "/tvxdemo-mix.wav";
    ok = WriteWave(mix, mixed, kRate) && ok;
    std::printf("wrote %s and %s (%.1f s of software-mixed sound)\n", sheet.c_str(), mix.c_str(),
                double(mixed.size()) / kRate);
    std::vector<unsigned char> played;
    if (ReadSound(&played)) {
        const std::string device = options.out + "/tvxdemo-sound.wav";
        ok = WriteWave(device, played, kRate) && ok;
        std::printf("wrote %s (everything the sound device played)\n", device.c_str());
    }
    return ok;
}

int Demo::Run()
{
    DebugInit();
    if (!LoadAssets() || !OpenDisplay() || !OpenSound())
        return 1;
    const auto start = std::chrono::steady_clock::now();
    bool quit = false;
    for (int frame = 0; frame < options.frames && !quit; ++frame) {
        std::vector<InputEvent> events, typed;
        Controls controls, held;
        // A window is always listened to, for its close box; the script,
        // when there is one, plays instead of the player.
        PollInput(window, &typed, &held, &quit);
        if (options.scripted) {
            events = playStart < 0 ? TitleScript(frame) : std::vector<InputEvent>();
            controls = field ? PlayScript(*field) : Controls();
        } else {
            events = typed;
            controls = held;
        }
        int restored = 0;
        if (display->Lock(&restored, 0) == ERR_FAILURE)
            continue;
        backdrop->CopyDirtyRec(0, 0, 0, 0, kWidth, kHeight, display.get(), 3);
        if (playStart < 0)
            Title(frame, events);
        else
            Play(frame, controls);
        display->Unlock();
        display->Flip(&restored);
        MixSound();
        Keep(frame);
        Pace(window, frame, kFramesPerSecond);
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("played %d frames in %.2f s; display forms take %lu bytes\n", options.frames, seconds,
                sprites.QueryDisplayFormBytes());
    const bool written = WriteOutputs();
    SetMWinDigimix(nullptr);
    root.reset();
    mixer.DeleteAllSounds();
    mixer.UninitTracks();
    mixer.UninitSoundCard();
    void* preMix = mixer.preMix; // the mixer leaves it to its owner
    memory.Free(&preMix);
    display->ReleaseSystemPalette();
    display.reset();
    CanvasUninitialize();
    CloseScreen(window);
    return written ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!Parse(argc, argv, &options)) {
        std::fputs("Usage: tvxdemo [--window] [--frames N] [--out DIR] [--library FILE]\n", stderr);
        return 2;
    }
    Demo demo(options);
    return demo.Run();
}
