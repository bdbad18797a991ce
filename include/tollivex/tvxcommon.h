// tvxcommon.h - what every Tollivex header shares.
//
// The status type every operation returns, the numeric error codes that land
// in an object's `errorCode`, and the export macro. Records shared by several
// class families live with the family that owns them and are pulled in here
// only when truly common.
#ifndef TOLLIVEX_TVXCOMMON_H
#define TOLLIVEX_TVXCOMMON_H

#include <cstdint>

#if defined(_WIN32) && defined(TOLLIVEX_BUILDING_DLL)
#  define TVX_API __declspec(dllexport)
#elif defined(_WIN32) && defined(TOLLIVEX_STATIC)
#  define TVX_API
#elif defined(_WIN32)
#  define TVX_API __declspec(dllimport)
#else
#  define TVX_API __attribute__((visibility("default")))
#endif

// One byte, two values: callers test "== 1" for failure.
enum ERRORSTATUS : unsigned char {
    ERR_OK = 0,
    ERR_FAILURE = 1
};

// Error codes, grouped by hundreds per area.
enum : unsigned short {
    // general
    ERR_NO_MEMORY            = 1001,
    ERR_WAVE_NO_FILE         = 1005,
    ERR_WAVE_OPEN            = 1006,
    ERR_WAVE_READ            = 1007,
    ERR_SEM_CREATE           = 1008,

    // memory manager
    ERR_MEM_ALLOC            = 1201,

    // disk data
    ERR_DISK_OPEN            = 1206,
    ERR_DISK_READ            = 1207,
    ERR_DISK_WRITE           = 1208,
    ERR_DISK_SEEK            = 1209,
    ERR_DISK_NO_MEMORY       = 1211,
    ERR_DISK_PAST_END        = 1212,
    ERR_DISK_CHDIR           = 1213,

    // library files
    ERR_LIB_NO_MEMORY        = 1221,
    ERR_LIB_BAD_NAME         = 1222,
    ERR_LIB_NO_MATCH         = 1223,
    ERR_LIB_NOT_LIBRARY      = 1224,
    ERR_LIB_BAD_BLOCK_TAG    = 1225,
    ERR_LIB_NO_FILE          = 1226,
    ERR_LIB_DISK             = 1227,
    ERR_LIB_NO_BLOCK         = 1228,
    ERR_LIB_SHORT_READ       = 1229,
    ERR_LIB_SHORT_WRITE      = 1230,
    ERR_LIB_BLOCK_EXISTS     = 1231,
    ERR_LIB_BLOCK_COUNT      = 1232,
    ERR_LIB_EXPAND           = 1233,
    ERR_LIB_COMPRESS         = 1234,

    // canvas and display
    ERR_CANVAS_CREATE        = 1236,
    ERR_CANVAS_DIRECTDRAW    = 1237,
    ERR_CANVAS_MODE          = 1238,

    // PCX painter
    ERR_PCX_NO_INPUT         = 1241,
    ERR_PCX_BAD_CANVAS       = 1242,
    ERR_PCX_UNSUPPORTED      = 1243,
    ERR_PCX_NOT_PCX          = 1244,
    ERR_PCX_TOO_SHORT        = 1245,

    // sprite sets
    ERR_SPR_NO_MEMORY        = 1261,
    ERR_SPR_NO_SET_SLOT      = 1262,
    ERR_SPR_NO_BLOCK         = 1263,
    ERR_SPR_BAD_SET          = 1264,
    ERR_SPR_BAD_SPRITE       = 1265,
    ERR_SPR_SLOT_USED        = 1266,
    ERR_SPR_SET_FULL         = 1267,
    ERR_SPR_ENCODE_FULL      = 1268,
    ERR_SPR_ENCODE_COMMANDS  = 1269,

    // data manager
    ERR_DM_NO_MEMORY         = 1276,
    ERR_DM_NOT_IN_USE        = 1278,
    ERR_DM_NOT_LOADED        = 1279,

    // palette
    ERR_PAL_NO_BUFFER        = 1301,
    ERR_PAL_VERSION          = 1302,
    ERR_PAL_WRITE            = 1303,
    ERR_PAL_NOT_PALETTE      = 1304,
    ERR_PAL_EMPTY_BUFFER     = 1305,
    ERR_PAL_NO_FORMAT        = 1306,
    ERR_PAL_BAD_BLOCK        = 1307,

    // LZSS
    ERR_LZSS_OUTPUT_FULL     = 1331,

    // WAVE files
    ERR_WAVE_NOT_WAVE        = 2001,
    ERR_WAVE_FORMAT          = 2002
};

// The debug log. A failed assertion is a log line, never an abort.
TVX_API void _AssertMsg(const char* file, unsigned long line);
TVX_API void _RunMark(const char* file, unsigned long line);
TVX_API void _DebugMessage(const char* message);
TVX_API void DebugInit();

#endif
