/*
 * kvexa.h - the interface of KVEXA_LIB.dll, which drives a camera-module test board.
 *
 * The library is a 32-bit Windows DLL. Everything here is plain C: records of fixed-width words, and
 * functions with the stdcall convention (kUsbGetData alone is cdecl). Include it from C or C++ and
 * link with the import library, or load the DLL and look the decorated names up.
 *
 * Results. Unless a function says otherwise it returns a KvexaResult: 0 for success, a negative code
 * for failure. The codes that every function with a BoardHandle can return are not repeated there:
 *   KVEXA_BAD_ARGUMENT     the handle pointer is null, the board is not open (its driver handle is
 *                          0), or its board type is neither 0 nor 1. These checks come first.
 *   KVEXA_REQUEST_FAILED   the driver refused a request; an unplugged board does this.
 * Functions that reach the board's registers or the sensor can in addition return, on a USB board:
 *   KVEXA_TIMED_OUT        the board stayed busy through 1000 readings of its status block.
 *   KVEXA_NO_ACKNOWLEDGE   the device on the sensor bus did not acknowledge.
 *   KVEXA_FAILED           another error on the sensor bus.
 *   KVEXA_TOO_LARGE        no memory for the request.
 * Where a function's text says "register results", it means these codes.
 *
 * On a PCIe board they can return KVEXA_DRIVER_3000 and KVEXA_DRIVER_3001 instead.
 *
 * Boards. "USB", "PCIe" or "both" says which boards a function serves. On the other board it does
 * nothing and returns the fixed result that its text names. Up to five PCIe boards (indices 0 to 4) have
 * state of their own; a PCIe board of a higher index opens, and its registers and one-shot captures work,
 * but its multi-shot captures do not start.
 *
 * Threads. "any thread" means that calls with different arguments may run at the same time. "one
 * thread a board" means that calls on one board must not overlap: the board keeps state between the
 * requests of one call. Calls on different boards may always run at the same time, and no board waits for
 * another one. What boards share is named with the functions that it concerns: the abort of captures and the
 * time-out that it remembers, the one array capture of a process, and the start of captures on PCIe boards.
 *
 * Single register transfers of one USB board take turns, so that a worker that stops its board does not cut
 * into another thread's transfer, nor do transfers of two threads mix. A thread whose request hangs in the
 * driver keeps its turn: other transfers on that board wait for it, without limit. Those that never wait for
 * a turn serve to rescue the board: kVexaAbortCapture, kVexaRecovery, kVexaI2cRecovery and kVexaGetUsbStatus,
 * and extended commands (kUsbExCmd, kVexaLocalReset, kVexaEp2Flash, kVexaWaitVSync, kVexaStatusClear,
 * kVexaSetI2Cspeed) and kUsbGetData, which are single requests. They reach the driver at once, in the middle
 * of a transfer too: while another thread transfers on the same board, a rescue can spoil that transfer, and
 * that one the rescue. Callers keep kVexaAbortCapture apart from every other call on its board but the
 * captures that it ends, which hand the pipes over to it: continuous, ring and storage captures that run.
 * There are turns for the first 255 USB boards that are open at a time, opened by this load of the library.
 *
 * Ownership. The caller owns every record, buffer, event and result word that it passes; the library
 * keeps no pointer after the call unless the text says so. Output records stay untouched on failure
 * unless the text says otherwise. Files are named by zero-terminated strings in the ANSI code page.
 *
 * Blocking. A register transfer is a few driver requests of at most 1000 ms each; a PCIe board's driver has
 * no time-out, so a request to it lasts as long as the driver takes. A request that hangs in the driver keeps
 * its own thread, on either board. Every other wait of the library is limited by the caller's time-out or by
 * a limit that the function's text names, or the text says that it has no limit.
 *
 * Unloading. FreeLibrary while a capture runs is safe: its worker keeps the library loaded, the capture goes
 * on, and the library goes when its last worker has ended. Buffers, events and result words stay the
 * capture's until then. LoadLibrary gives the same library once more, and with it kVexaAbortCapture. No
 * thread may be inside a function when the last reference goes. Boards that are left open stay open until the
 * process ends, and a library that is loaded anew takes their BoardHandle. On a PCIe board a multi-shot
 * capture starts with such a handle too and tells its end, but kVexaAbortCapture does not know the handle: it
 * returns KVEXA_FAILED, sends nothing and ends nothing, so that an endless capture runs until the process
 * ends. Close the board and open it again before the first capture.
 *
 * Process exit. Windows ends the workers of captures that run, wherever they are. The library then waits for
 * nothing and sends nothing, and Windows closes the boards. A board may be left capturing; the next program
 * calls kVexaAbortCapture, which is right when nothing runs too. No function may be called while the process
 * exits, not from DllMain or destructors of static objects either.
 */
#ifndef KVEXA_H
#define KVEXA_H

/* NOLINTBEGIN(modernize-*): C programs include this header too. */

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define KVEXA_CALL __stdcall
#define KVEXA_CALL_CDECL __cdecl
#else
#define KVEXA_CALL
#define KVEXA_CALL_CDECL
#endif

#if defined(_WIN32) && !defined(KVEXA_LIB_BUILD)
#define KVEXA_API __declspec(dllimport)
#else
#define KVEXA_API
#endif

#define KVEXA_VERSION_MAJOR 0
#define KVEXA_VERSION_MINOR 1
#define KVEXA_VERSION_PATCH 0

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Codes ------------------------------------------------------------------------------------- */

/* What each one means in a sentence, and what to do, stands in kvexa_results.inc. */
enum KvexaResult {
  KVEXA_OK = 0,
  KVEXA_FAILED = -1,            /* no code of its own; the function says what it means there */
  KVEXA_OPEN_FAILED = -50,      /* no such board, or its driver would not open it */
  KVEXA_REQUEST_FAILED = -51,   /* the driver refused a request, or reported that it failed */
  KVEXA_TIMED_OUT = -52,        /* the board did not answer, or no frame came, in time */
  KVEXA_MEASURE_FAILED = -53,   /* PCIe: the driver could not measure */
  KVEXA_BAD_ARGUMENT = -54,     /* a null pointer, a closed board, a value out of its range */
  KVEXA_BAD_FILE = -55,         /* the capture-parameter file is not one, or is incomplete */
  KVEXA_TOO_LARGE = -56,        /* more than the board or this process has memory for */
  KVEXA_NO_ACKNOWLEDGE = -57,   /* the device on the sensor bus did not acknowledge */
  KVEXA_ABORTED = -58,          /* the capture was ended by kVexaAbortCapture */
  KVEXA_BUSY = -59,             /* a frame is still on its way, or a worker would not end */
  KVEXA_NO_DEVICE_PATH = -60,   /* the board is listed, but its device path does not exist */
  KVEXA_DRIVER_1001 = -61,      /* PCIe: driver status 0x1001 */
  KVEXA_DRIVER_3000 = -62,      /* PCIe: driver status 0x3000 */
  KVEXA_DRIVER_3001 = -63,      /* PCIe: driver status 0x3001 */
  KVEXA_DRIVER_1004 = -64,      /* PCIe: driver status 0x1004 */
  KVEXA_NOT_ON_PCIE = -100,     /* a capture or buffer function that only USB boards have */
  KVEXA_NOT_ON_USB = -101,      /* a function that only PCIe boards have */
  KVEXA_FILE_NOT_OPENED = -200, /* the file could not be opened or created */
  KVEXA_RELOAD_FAILED = -300,   /* never returned itself: -301 to -306 tell which step failed */
  KVEXA_RELOAD_NO_MEMORY = -301,
  KVEXA_RELOAD_NO_DEVICE_LIST = -302,
  KVEXA_RELOAD_NO_IDENTIFIERS = -303,
  KVEXA_RELOAD_NEEDS_REBOOT = -304,
  KVEXA_RELOAD_CHANGE_FAILED = -305,
  KVEXA_RELOAD_NO_DEVICE = -306
};

enum BoardType { KVEXA_BOARD_USB = 0, KVEXA_BOARD_PCIE = 1 };

/* The colours of the top-left 2x2 cell of a Bayer mosaic, row 0 first. */
enum KvexaBayerPattern {
  KVEXA_BAYER_GRBG = 0,
  KVEXA_BAYER_RGGB = 1,
  KVEXA_BAYER_BGGR = 2,
  KVEXA_BAYER_GBRG = 3
};

/* Pixel formats of converted images, shared by the converters and the file writers. */
enum KvexaPixelFormat {
  KVEXA_FORMAT_BGR24 = 10,  /* three bytes a pixel: blue, green, red ("RGB888") */
  KVEXA_FORMAT_RGB565 = 11, /* a little-endian word: red in bits 15-11, green 10-5, blue 4-0 */
  KVEXA_FORMAT_RGB555 = 12, /* a little-endian word with five bits a colour */
  KVEXA_FORMAT_GREY8 = 13   /* one byte a pixel */
};

/* Formats of captured data, as CapParam.INPUTFORMAT and kVexaSaveBinFile take them. */
enum KvexaInputFormat {
  KVEXA_INPUT_SAMPLES = 0,  /* one sample of 8 to 16 bits; kVexaSaveBinFile refuses it */
  KVEXA_INPUT_BYTE_1 = 1,   /* one byte a pixel */
  KVEXA_INPUT_WORD_2 = 2,   /* two bytes a pixel */
  KVEXA_INPUT_TRIPLE_3 = 3, /* three bytes a pixel */
  KVEXA_INPUT_PACKED = 4,   /* four bytes; SPACK says how many of the row's samples */
  KVEXA_INPUT_BGR24 = KVEXA_FORMAT_BGR24,
  KVEXA_INPUT_RGB565 = KVEXA_FORMAT_RGB565,
  KVEXA_INPUT_RGB555 = KVEXA_FORMAT_RGB555,
  KVEXA_INPUT_GREY8 = KVEXA_FORMAT_GREY8,
  KVEXA_INPUT_WORD_14 = 14,  /* two bytes a pixel; kVexaSaveBinFile only */
  KVEXA_INPUT_YUV = 20,      /* two bytes a pixel */
  KVEXA_INPUT_YUV_PAIR = 21, /* four bytes for two pixels; kVexaSaveBinFile refuses it */
  KVEXA_INPUT_BYTE_40 = 40,  /* one byte a pixel, to 43 */
  KVEXA_INPUT_BYTE_41 = 41,
  KVEXA_INPUT_BYTE_42 = 42,
  KVEXA_INPUT_BYTE_43 = 43,
  KVEXA_INPUT_WORD_44 = 44, /* two bytes a pixel, to 47 */
  KVEXA_INPUT_WORD_45 = 45,
  KVEXA_INPUT_WORD_46 = 46,
  KVEXA_INPUT_WORD_47 = 47
};

/* The equations from Y, U, V to colour: BT.601 studio range or full range, in integers or in doubles. */
enum KvexaYuyvMethod {
  KVEXA_YUYV_INTEGER_STUDIO = 0,
  KVEXA_YUYV_DOUBLE_STUDIO = 1,
  KVEXA_YUYV_INTEGER_FULL = 2,
  KVEXA_YUYV_DOUBLE_FULL = 3
};

/* What kVexaSaveBmpFile writes. */
enum KvexaBmpKind {
  KVEXA_BMP_24_BITS = 10000,
  KVEXA_BMP_16_BITS = 10001,
  KVEXA_BMP_UNSUPPORTED = 10002, /* always refused */
  KVEXA_BMP_8_BITS = 10003
};

/* How kVexaCalcFrameSize and kVexaCalcFrameSizeEx round a frame's size up. */
enum KvexaAlignment { KVEXA_ALIGN_512 = 0, KVEXA_ALIGN_4 = 1 };

/*
 * How a register transfer addresses the device on the sensor bus: the width of the slave address (7
 * or 10 bits) and of the register's sub-address (8 bits, 16 bits, or none).
 */
enum KvexaAddressMode {
  KVEXA_SLAVE7_SUB8 = 0,
  KVEXA_SLAVE7_SUB16 = 1,
  KVEXA_SLAVE7_NO_SUB = 2,
  KVEXA_SLAVE10_SUB8 = 3,
  KVEXA_SLAVE10_SUB16 = 4,
  KVEXA_SLAVE10_NO_SUB = 5
};

/* The slave address that reaches the USB board's own registers instead of the sensor bus. */
enum { KVEXA_SLAVE_BOARD = 0x80 };

/* ---- Records ----------------------------------------------------------------------------------- */

/* An open board. The caller owns it; kVexaDevOpen fills it. Fill nothing in by hand. */
typedef struct BoardHandle {
  void* driverHandle;  /* the operating system's file handle; null means not open */
  uint32_t boardType;  /* BoardType */
  uint32_t boardIndex; /* position in the enumeration of its type, from 0 */
} BoardHandle;

/*
 * Everything that describes a capture, named as in the capture-parameter file (see docs/file-formats.md).
 * 26 words of 16 bits in this order, nothing between them.
 */
typedef struct CapParam {
  uint16_t CAMPORT;      /* sensor port */
  uint16_t SYNCMODE;     /* synchronisation mode: 1 = codes embedded in the data */
  uint16_t SOLCODE;      /* start-of-line code */
  uint16_t EOLCODE;      /* end-of-line code */
  uint16_t SOFCODE;      /* start-of-frame code */
  uint16_t EOFCODE;      /* end-of-frame code */
  uint16_t HPOR;         /* horizontal sync polarity */
  uint16_t VPOR;         /* vertical sync polarity */
  uint16_t HOFF;         /* capture area: first column, in pixels */
  uint16_t HCNT;         /* capture area: columns before decimation */
  uint16_t VOFF;         /* capture area: first line */
  uint16_t VCNT;         /* capture area: lines before decimation */
  uint16_t HREDUCT;      /* one of every HREDUCT + 1 columns is kept */
  uint16_t VREDUCT;      /* one of every VREDUCT + 1 lines is kept */
  uint16_t FRMSKP;       /* frames to skip */
  uint16_t FRMDROP;      /* stored only; nothing in the library reads it */
  uint16_t HWEXCHG;      /* conversion on the board: 0, 1 or 2 */
  uint16_t SPACK;        /* sample packing: 0, 1 or 2 */
  uint16_t PORTMSBBIT;   /* number of the port's most significant data bit */
  uint16_t BITWIDTH;     /* bits a sample */
  uint16_t B2R;          /* Bayer-to-RGB setting of the board */
  uint16_t SMIAIN;       /* serial input; also selects the packing factor of the frame size */
  uint16_t SMIACLASS;    /* serial class */
  uint16_t CAMERAFORMAT; /* for the application; not sent to the board */
  uint16_t INPUTFORMAT;  /* KvexaInputFormat; sets the bytes a unit */
  uint16_t EXCHGFORMAT;  /* for the application; not sent to the board */
} CapParam;

/* One of the module's supplies or its clock. */
typedef struct SwitchStatus {
  uint32_t on;          /* 0 or 1 */
  uint32_t hardwareDip; /* setting of the board's DIP switch */
  uint32_t softwareDip; /* setting of the software DIP register */
} SwitchStatus;

typedef struct SupplyStatus {
  SwitchStatus v1;
  SwitchStatus v2;
  SwitchStatus clock;
  uint32_t resetOn;
  uint32_t i2cOn;
  uint32_t powerSwitchOn;
} SupplyStatus;

/* One step of a power sequence: the switches' new state (0 or 1 each), then a pause. */
typedef struct PowerStep {
  uint32_t v1;
  uint32_t v2;
  uint32_t reset; /* 1 = reset active */
  uint32_t clock;
  uint32_t i2c;
  uint32_t delay; /* milliseconds */
} PowerStep;

typedef struct PowerSequence {
  PowerStep steps[100];
  uint32_t stepCount;
} PowerSequence;

/* A measurement of the frames that come in. */
typedef struct AutoActual {
  uint32_t firstDimension;
  uint32_t secondDimension;
  double frameRate; /* frames a second, 0.0 when no period was measured */
} AutoActual;

/* One write of a batch. kVexaManyRegWrite advances data past the words that it took. */
typedef struct RegisterBatchEntry {
  uint32_t subAddress;
  const uint32_t* data; /* one word a data byte; the low byte is sent */
  uint32_t count;       /* data bytes, 0 to 65535 */
} RegisterBatchEntry;

typedef struct RegisterBatch {
  uint32_t slave;          /* 7-bit slave address */
  uint32_t wideSubAddress; /* 0: sub-addresses of 8 bits; otherwise of 16 bits */
  RegisterBatchEntry* entries;
  uint32_t entryCount;
} RegisterBatch;

/* The rectangle of an image that a writer saves, in pixels. */
typedef struct SaveRect {
  uint32_t x;
  uint32_t y;
  uint32_t width;
  uint32_t height;
} SaveRect;

/*
 * One line of a register-setting file as the USB board plays it. Entry 0 is the header: its number is
 * the slave address and values[0] the address mode. Every further entry is one write.
 */
typedef struct RegisterTableEntry {
  uint32_t number;      /* slave address in entry 0, register address after */
  uint16_t values[256]; /* the low 16 bits of each value */
  uint8_t unused[1536]; /* not read and not written */
  uint32_t valueCount;
} RegisterTableEntry;

/* What kUsbIniFileToBuf fills: an array of this many RegisterTableEntry. */
enum { KVEXA_REGISTER_TABLE_ENTRIES = 1024 };

/* Bytes of a USB board's status block; byte 4 is the status, byte 6 an ASCII digit after bus errors. */
enum { KVEXA_STATUS_BLOCK_BYTES = 64 };

/* ---- Boards: finding, opening, closing --------------------------------------------------------- */

/*
 * Counts the boards that are present.
 *   usbCount   out: USB boards, 0 to 255
 *   pcieCount  out: PCIe boards, 0 to 255
 * A null pointer receives nothing. A type whose enumeration fails counts as 0.
 * Returns the sum of both, or KVEXA_FAILED when both enumerations failed.
 * Boards: both. Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kVexaDevNum(uint32_t* usbCount, uint32_t* pcieCount);

/*
 * Opens a board for this process alone.
 *   boardType   in: BoardType
 *   boardIndex  in: 0 to the count of that type less 1
 *   board       out: the open board; untouched on failure
 * KVEXA_BAD_ARGUMENT    the type is neither 0 nor 1, or board is null
 * KVEXA_OPEN_FAILED     no such board, or the driver would not open it (another process has it)
 * KVEXA_NO_DEVICE_PATH  the board is listed but its device path does not exist
 * Close it with kVexaDevClose: boards that are left open when the library is unloaded stay open until
 * the process ends. Boards: both. Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kVexaDevOpen(uint32_t boardType, uint32_t boardIndex, BoardHandle* board);

/*
 * Closes a board and sets its driver handle and index to 0; the type keeps its value.
 *   board  in/out: a record that kVexaDevOpen filled
 * KVEXA_OK            closed; also for a record of another type, of which nothing is closed
 * KVEXA_FAILED        the handle was not open; a second close of one record does this
 * KVEXA_BAD_ARGUMENT  board is null
 * Boards: both. Any thread, but no other one may be using the board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaDevClose(BoardHandle* board);

/* ---- Registers of the sensor and of the board -------------------------------------------------- */

/*
 * Reads bytes from a device on the sensor bus, or from the board.
 *   board       in: an open board
 *   slave       in: 7-bit or 10-bit slave address, or KVEXA_SLAVE_BOARD
 *   subAddress  in: the register's address on the device
 *   mode        in: KvexaAddressMode
 *   count       in: data bytes, 1 to 65535
 *   words       out: one word a byte, zero-extended (count words); from KVEXA_SLAVE_BOARD one word
 *               for two bytes, low byte first (count / 2 words). When the board's answer does not
 *               come the words are set to 0 and the result tells.
 * KVEXA_BAD_ARGUMENT    unknown mode, count 0 or above 65535, or words null
 * KVEXA_NO_ACKNOWLEDGE  the board reports an error on the sensor bus after the transfer
 * A USB board gets the transfer as it is, without waiting between request and answer. 10-bit slave
 * addresses go out high byte first and without the 10-bit prefix, in mode 3 the low byte alone: prefix
 * them yourself if the device needs it. A PCIe board takes any mode, and any number of words (count is in
 * words there, 0 transfers nothing): they move in chunks of 4096, all to the same register address, and
 * chunks that were moved before a failure stay done. Its further results:
 * KVEXA_DRIVER_3000, KVEXA_DRIVER_3001, KVEXA_FAILED for another driver status, KVEXA_BAD_ARGUMENT for
 * driver status 0x2000. It waits for its driver to complete each chunk, without limit. Boards: both. One
 * thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaRegRead(const BoardHandle* board, uint32_t slave, uint32_t subAddress,
                                          uint32_t mode, uint32_t count, uint32_t* words);

/*
 * Writes bytes to a device on the sensor bus, or to the board. Arguments and results are those of
 * kVexaRegRead.
 *   words  in: one word a byte, its low byte is sent (count words); to KVEXA_SLAVE_BOARD one word for
 *          two bytes, low byte first (count / 2 words)
 * Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaRegWrite(const BoardHandle* board, uint32_t slave, uint32_t subAddress,
                                           uint32_t mode, uint32_t count, const uint32_t* words);

/*
 * kVexaRegRead for a slave address in the 8-bit form of the bus, whose bit 0 must be 1 (read).
 * KVEXA_BAD_ARGUMENT also when bit 0 of slave is 0; this is tested before the board type. A PCIe board
 * moves the words one by one, every one from the same register, at most 1024, and looks at no driver
 * status: what the driver accepts counts as done. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaRegReadS(const BoardHandle* board, uint32_t slave, uint32_t subAddress,
                                           uint32_t mode, uint32_t count, uint32_t* words);

/*
 * kVexaRegWrite for a slave address in the 8-bit form of the bus, whose bit 0 must be 0 (write).
 * KVEXA_BAD_ARGUMENT also when bit 0 of slave is 1; this is tested before the board type. A PCIe board
 * moves the words as described for kVexaRegReadS. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaRegWriteS(const BoardHandle* board, uint32_t slave, uint32_t subAddress,
                                            uint32_t mode, uint32_t count, const uint32_t* words);

/*
 * Sends many register writes to one slave as a single transfer.
 *   batch  in/out: the writes; each entry's data pointer is advanced past the words that were taken,
 *          so set it again before the array is used again
 * KVEXA_OK            always on a USB board, whatever the transfer did
 * KVEXA_BAD_ARGUMENT  batch is null, entries is null although entryCount is not 0, an entry has data
 *                     bytes and a null pointer, or more than 65535 data bytes; nothing is sent then
 * KVEXA_TOO_LARGE     the whole batch does not fit into memory; nothing is sent
 * Boards: USB; PCIe: KVEXA_OK. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaManyRegWrite(const BoardHandle* board, RegisterBatch* batch);

/*
 * Reads a register of the board itself.
 *   address  in: register address
 *   count    in: bytes, 2 for one register of a USB board (16 bits); not looked at on a PCIe board, which
 *            moves one register of 32 bits
 *   words    out: count / 2 words of 16 bits each; one word on a PCIe board, which is stored whenever the
 *            driver accepted the request, also when the result is KVEXA_DRIVER_3000 or KVEXA_DRIVER_3001
 * KVEXA_BAD_ARGUMENT when words is null and, on a USB board, for count 0 or above 65535; otherwise
 * register results.
 * Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaFpgaRead(const BoardHandle* board, uint32_t address, uint32_t count,
                                           uint32_t* words);

/*
 * Writes a register of the board itself. Arguments, results, boards and threads are those of kVexaFpgaRead.
 *   words  in: count / 2 words of 16 bits each; one word on a PCIe board
 */
KVEXA_API int32_t KVEXA_CALL kVexaFpgaWrite(const BoardHandle* board, uint32_t address, uint32_t count,
                                            const uint32_t* words);

/*
 * Plays a register-setting file into the sensor (see docs/file-formats.md).
 *   path   in: the file
 *   board  in: an open board
 * KVEXA_OK               every line was sent, and the sensor bus reports no error
 * KVEXA_FILE_NOT_OPENED  the file cannot be opened
 * KVEXA_BAD_ARGUMENT     more than 1024 lines, more than 256 values on a line, an address mode above
 *                        5 with at least one line to write; path is null
 * KVEXA_NO_ACKNOWLEDGE   the sensor bus reports an error after the last line
 * KVEXA_FAILED           no memory for the table
 * Lines that were sent stay written when a later one fails. Blocks for the transfers and then, on a USB
 * board, as many milliseconds as the file has lines. A PCIe board plays each line as kVexaRegWrite does,
 * with whole 32-bit values, and returns the first result that is not 0. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSetI2cFile(const char* path, const BoardHandle* board);

/*
 * Reads a register-setting file into a table, which kUsbBufToReg plays as often as you like.
 *   path       in: the file
 *   table      out: KVEXA_REGISTER_TABLE_ENTRIES entries; only the fields that a line fills are written. A
 *              header without a comma fills no value, so clear the table before: its address mode is then 0
 *   lineCount  out: lines read, the header included
 * KVEXA_OK, KVEXA_FILE_NOT_OPENED, or KVEXA_BAD_ARGUMENT for a null pointer, more than 1024 lines or
 * more than 256 values on a line. A refused file leaves in the table what was read before the line
 * that is refused, and lineCount untouched. Needs no board. Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kUsbIniFileToBuf(const char* path, RegisterTableEntry* table,
                                              uint32_t* lineCount);

/*
 * Plays a table into the sensor of a USB board, as kVexaSetI2cFile does.
 *   driverHandle  in: the first word of the board's BoardHandle, not the record itself
 *   table         in: the table; entry 0 is the header
 *   lineCount     in: entries of the table, header included; also the pause after the last one in ms
 * Results are those of kVexaSetI2cFile without the file's own, and KVEXA_BAD_ARGUMENT also when table
 * is null, lineCount is above 1024 or an entry claims more than 256 values. Boards: USB. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kUsbBufToReg(void* driverHandle, const RegisterTableEntry* table,
                                          uint32_t lineCount);

/*
 * Sets how long the board waits for the sensor's acknowledge.
 *   time  in: up to 2550 at bus speed 0, where it is counted in steps of 10, or 10200 at speed 1, in steps
 *         of 40; less than a step switches the wait off
 * KVEXA_BAD_ARGUMENT for a longer time, or when the bus speed is neither 0 nor 1 or cannot be read; else
 * register results. Boards: PCIe; USB: KVEXA_NOT_ON_USB. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSetWaitAckTimes(const BoardHandle* board, uint32_t time);

/*
 * Write and read the board's debug look-up table, in blocks of 4096 words.
 *   count  in: words
 *   words  in or out: count words; a block that the driver refuses to read is left untouched
 * KVEXA_OK whatever the driver does; KVEXA_BAD_ARGUMENT when words is null and count is not 0. Boards:
 * PCIe; USB: KVEXA_NOT_ON_USB. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kDBGLutDataWrite(const BoardHandle* board, uint32_t count,
                                              const uint32_t* words);
KVEXA_API int32_t KVEXA_CALL kDBGLutDataRead(const BoardHandle* board, uint32_t count, uint32_t* words);

/* ---- USB commands and status ------------------------------------------------------------------- */

/*
 * Resets the board locally. KVEXA_OK always on a USB board: commands report nothing, read the status
 * afterwards. Boards: USB; PCIe: KVEXA_OK. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaLocalReset(const BoardHandle* board);

/* Flushes the image-data pipe. Results, boards and threads are those of kVexaLocalReset. */
KVEXA_API int32_t KVEXA_CALL kVexaEp2Flash(const BoardHandle* board);

/*
 * Tells the board to wait for the sensor's vertical sync.
 *   mode  in: 0 or 1
 * KVEXA_FAILED for another mode, else KVEXA_OK. Boards: USB; PCIe: KVEXA_OK. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaWaitVSync(const BoardHandle* board, uint32_t mode);

/* Clears the board's status. Results, boards and threads are those of kVexaLocalReset. */
KVEXA_API int32_t KVEXA_CALL kVexaStatusClear(const BoardHandle* board);

/*
 * Latches the board's status and reads it.
 *   status  out: 16 bits, zero-extended; 0 when the answer did not come
 * KVEXA_BAD_ARGUMENT when status is null; else register results. Boards: USB; PCIe: KVEXA_OK, status
 * untouched. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaStatusRead(const BoardHandle* board, uint32_t* status);

/*
 * Sets the clock of the sensor bus.
 *   speed  in: 0 slow, 1 fast
 * KVEXA_BAD_ARGUMENT for another speed, which is tested before the handle. A USB board returns
 * KVEXA_OK always, a PCIe board register results. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSetI2Cspeed(const BoardHandle* board, uint32_t speed);

/*
 * Checks the board's status and resets its command pipes after an error on the sensor bus.
 * KVEXA_OK        the board is idle
 * 1 to 255        the status that stayed through ten more readings; 0x60 after an error on the sensor
 *                 bus, or the first byte of the board's answer to the reset when that is not 0
 * KVEXA_REQUEST_FAILED  the status could not be read
 * Waits for no turn: it reaches the driver while another thread's transfer on the board hangs there.
 * Boards: USB; PCIe: KVEXA_OK. Any thread; see "Threads" above for a board on which a transfer is under way.
 */
KVEXA_API int32_t KVEXA_CALL kVexaRecovery(const BoardHandle* board);

/* The same function as kVexaRecovery under another name: its results, boards and threads. */
KVEXA_API int32_t KVEXA_CALL kVexaI2cRecovery(const BoardHandle* board);

/*
 * Reads the board's status block.
 *   block  out: KVEXA_STATUS_BLOCK_BYTES bytes; untouched when it could not be read. What the board's answer
 *          lacks behind the status is 0
 * Returns the status, byte 4 of the block, 0 to 255 (0 idle, 0x60 error on the sensor bus), or
 * KVEXA_BAD_ARGUMENT when block is null. An answer that ends before its status was not read:
 * KVEXA_REQUEST_FAILED. Waits for no turn: it reaches the driver while another thread's transfer on the
 * board hangs there. Boards: USB; PCIe: KVEXA_OK, block untouched. Any thread; see "Threads" above for a
 * board on which a transfer is under way.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetUsbStatus(const BoardHandle* board, uint8_t* block);

/*
 * Sends one extended command to a USB board.
 *   driverHandle  in: the first word of the board's BoardHandle, not the record itself
 *   command       in: the command number, the first byte is used
 * KVEXA_OK always, also when the board is unplugged or a pointer is null. Boards: USB. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kUsbExCmd(void* driverHandle, const uint8_t* command);

/*
 * Reads image data from a USB board. This one function is cdecl.
 *   driverHandle  in: the first word of the board's BoardHandle
 *   length        in: bytes to read; above 1 MiB in reads of 1 MiB and a last one for the rest
 *   received      out: bytes that came
 *   buffer        out: length bytes of room
 *   timeout       in: milliseconds; above 1 MiB every single read gets timeout / (length / 1 MiB)
 * KVEXA_FAILED          length or timeout is 0
 * KVEXA_REQUEST_FAILED  the last read failed; earlier reads are not looked at
 * KVEXA_BAD_ARGUMENT    received or buffer is null
 * Blocks at most as long as its reads' time-outs together. Boards: USB. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL_CDECL kUsbGetData(void* driverHandle, uint32_t length, uint32_t* received,
                                               void* buffer, uint32_t timeout);

/* ---- Supplies and signals ---------------------------------------------------------------------- */

/*
 * The switches.
 *   board  in: an open board
 * Each reads the switch register, changes its bit and writes it back: two callers at once on one board can
 * lose each other's change. On a USB board a failed read is returned and nothing is written; on a PCIe board
 * it counts as 0 and the write goes ahead. Else the write's result. Register results. Boards: both. One
 * thread a board.
 */
/* Switches the first supply off. KVEXA_OK always on a PCIe board; else, and for threads, see "The switches".
 */
KVEXA_API int32_t KVEXA_CALL kVexaPowerV1Off(const BoardHandle* board);
/* Switches the first supply on. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaPowerV1On(const BoardHandle* board);
/* Switches the second supply off. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaPowerV2Off(const BoardHandle* board);
/* Switches the second supply on. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaPowerV2On(const BoardHandle* board);
/* Stops the sensor's clock. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaClockOff(const BoardHandle* board);
/* Starts the sensor's clock. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaClockOn(const BoardHandle* board);
/* Releases the sensor from reset. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaResetOff(const BoardHandle* board);
/* Holds the sensor in reset. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaResetOn(const BoardHandle* board);
/* Disconnects the sensor bus. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaI2cOff(const BoardHandle* board);
/* Connects the sensor bus. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaI2cOn(const BoardHandle* board);
/* Switches the power-switch control off. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaPowerSwControlOff(const BoardHandle* board);
/* Switches the power-switch control on. Results, boards and threads: see "The switches" above. */
KVEXA_API int32_t KVEXA_CALL kVexaPowerSwControlOn(const BoardHandle* board);

/*
 * Reads a supply's or the clock's switch and DIP settings.
 *   status  out: on a USB board filled unless the first of the two register reads failed; on a PCIe board
 *           always, with 0 for what could not be read, and the result is that of the DIP switches' reading
 * KVEXA_BAD_ARGUMENT when status is null; else register results. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetV1Status(const BoardHandle* board, SwitchStatus* status);
KVEXA_API int32_t KVEXA_CALL kVexaGetV2Status(const BoardHandle* board, SwitchStatus* status);
KVEXA_API int32_t KVEXA_CALL kVexaGetClockStatus(const BoardHandle* board, SwitchStatus* status);

/*
 * Reads whether the sensor's reset is active.
 *   on  out: 0 or 1; stored even when the read failed, then 0
 * KVEXA_BAD_ARGUMENT when on is null; else register results. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetResetStatus(const BoardHandle* board, uint32_t* on);

/*
 * Reads the I2C lines' switch.
 *   on  out: on a PCIe board 0 or 1. Always 0 on a USB board, whatever the switch is;
 *       kVexaGetSupplyStatus tells the truth there
 * KVEXA_BAD_ARGUMENT when on is null; else register results. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetI2cStatus(const BoardHandle* board, uint32_t* on);

/*
 * Reads all switches and DIP settings at once. As kVexaGetV1Status; a PCIe board stops at the first failure,
 * and what stands in the record before it is filled. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetSupplyStatus(const BoardHandle* board, SupplyStatus* status);

/*
 * Read the hardware and the software DIP switch.
 *   value  out: eight bits: bits 0-2 V1, 3-5 V2, 6-7 clock setting; untouched when the first of the two
 *          register reads of a USB board failed. The hardware switch of a PCIe board has six bits, stored
 *          even when the read failed, then 0; its software switch is untouched then.
 * KVEXA_BAD_ARGUMENT when value is null; else register results. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetHwDipStatus(const BoardHandle* board, uint32_t* value);
KVEXA_API int32_t KVEXA_CALL kVexaGetSwDipStatus(const BoardHandle* board, uint32_t* value);

/*
 * Sets the software DIP switch.
 *   value  in: on a USB board the low 16 bits are written as they are, so that bits 8-15 overwrite the
 *          hardware switch's byte; on a PCIe board 0 to 255
 * KVEXA_BAD_ARGUMENT when value is null or, on a PCIe board, above 255; else register results. Boards: both.
 * One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSetSwDip(const BoardHandle* board, const uint32_t* value);

/*
 * Plays a power sequence: every step sets all switches but the power-switch control, then pauses.
 *   sequence  in: steps and their number. A USB board expects switch words of 0 or 1 and plays the 100
 *             steps of the record at most; a PCIe board takes every word but 1 for off, and does not limit
 *             the number: more than 100 steps need memory that goes on behind the record.
 * KVEXA_OK always on a USB board, whatever the transfers did; the last write's result on a PCIe board;
 * KVEXA_BAD_ARGUMENT when sequence is null. Blocks for the sum of the steps' delays. Boards: both. One thread
 * a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaPowerControl(const BoardHandle* board, const PowerSequence* sequence);

/*
 * Sets the general-purpose output lines.
 *   value  in: one bit a line, the low 16 bits are used on a USB board
 * Register results. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSetDout(const BoardHandle* board, uint32_t value);

/*
 * Read the general-purpose output and input lines.
 *   value  out: one bit a line, 16 bits; untouched when a USB board's read failed, 0 when a PCIe board's did
 * KVEXA_BAD_ARGUMENT when value is null; else register results. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetDout(const BoardHandle* board, uint32_t* value);
KVEXA_API int32_t KVEXA_CALL kVexaGetDin(const BoardHandle* board, uint32_t* value);

/* ---- Capture set-up and measurement ------------------------------------------------------------ */

/*
 * Reads a capture-parameter file (see docs/file-formats.md). Needs no board.
 *   path   in: the file; its name must end in "dat" in lower case
 *   param  out: the parameters; on failure it may hold the values of the lines that were read
 * KVEXA_FILE_NOT_OPENED  the file cannot be opened
 * KVEXA_BAD_FILE         a name that does not end in "dat"; a key is missing; a value of 255 bytes or
 *                        more; the last line has no line feed
 * KVEXA_BAD_ARGUMENT     no "END" within 1000 lines although every key is there; a null pointer
 * Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetCapFileParam(const char* path, CapParam* param);

/*
 * Programs the board's capture front end.
 *   param  in: the parameters. A USB board tests none against a range. A PCIe board refuses HCNT 0, VCNT 0,
 *          SOLCODE or SOFCODE above 255, EOLCODE or EOFCODE with any of bits 0 to 7 set, PORTMSBBIT above 15,
 *          BITWIDTH above PORTMSBBIT + 1, HWEXCHG above 2, SMIAIN above 4.
 * Returns 0 when every register write succeeded. On a USB board otherwise the bitwise OR of the results
 * of all fifteen writes, which are all made. On a PCIe board the first result that is not 0, or
 * KVEXA_BAD_ARGUMENT at the first field that is refused; the registers before it stay written.
 * KVEXA_BAD_ARGUMENT also when param is null. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSetCapParam(const BoardHandle* board, const CapParam* param);

/*
 * The size of one frame in bytes, the older way: it looks at HCNT, VCNT, HREDUCT, VREDUCT, HWEXCHG
 * and BITWIDTH only and rounds decimated sizes down. Use kVexaCalcFrameSizeEx for buffers.
 *   param      in: the parameters
 *   alignment  in: KvexaAlignment; another value leaves the size as it is
 * Returns the size, 0 when param is null. Needs no board. Any thread.
 */
KVEXA_API uint32_t KVEXA_CALL kVexaCalcFrameSize(const CapParam* param, uint32_t alignment);

/*
 * The size of one frame, exactly.
 *   param         in: the parameters
 *   frameBytes    out: size of a frame in bytes, rounded up as alignment says
 *   bytesPerUnit  out: bytes of one unit of a row
 *   width         out: units in a row (pixels, or groups of pixels where the format shares samples)
 *   height        out: rows
 *   alignment     in: KvexaAlignment
 * KVEXA_BAD_ARGUMENT  a null pointer, a combination of INPUTFORMAT, BITWIDTH and SPACK that has no
 *                     size, INPUTFORMAT 4 with SPACK 0, SMIAIN above 5, an unknown alignment, or a size
 *                     of 0; nothing is written
 * The size is computed in 32 bits and wraps. Needs no board. Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kVexaCalcFrameSizeEx(const CapParam* param, uint32_t* frameBytes,
                                                  uint32_t* bytesPerUnit, uint32_t* width, uint32_t* height,
                                                  uint32_t alignment);

/*
 * Sets the capture area.
 *   horizontalStart, horizontalEnd  in: columns
 *   verticalStart, verticalEnd      in: lines
 * Returns 0.0 whatever the register writes did, or -54.0 for a handle that is refused. Boards: USB;
 * PCIe: 0.0. One thread a board.
 */
KVEXA_API double KVEXA_CALL kVexaSetHV(const BoardHandle* board, uint32_t horizontalStart,
                                       uint32_t horizontalEnd, uint32_t verticalStart, uint32_t verticalEnd);

/*
 * Switch the board's Bayer-to-RGB stage. Register results; a failed read is returned and nothing is
 * written. Boards: USB; PCIe: KVEXA_OK. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaBayerToRgbEnable(const BoardHandle* board);
KVEXA_API int32_t KVEXA_CALL kVexaBayerToRgbDisable(const BoardHandle* board);

/*
 * Selects the pattern of the board's Bayer-to-RGB stage.
 *   pattern  in: 1 to 4; the board receives the value less 1
 * KVEXA_BAD_ARGUMENT when pattern is null; else register results. Boards: USB; PCIe: KVEXA_OK. One
 * thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaBayerToRgbPatternSelect(const BoardHandle* board, const uint32_t* pattern);

/*
 * Sets the board's colour-space matrix.
 *   values  in: 12 coefficients (5 fraction bits are kept), then the offset (2 fraction bits); what
 *           does not fit is truncated toward zero
 * KVEXA_OK whatever the register writes did; KVEXA_BAD_ARGUMENT when values is null. Boards: both. One
 * thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaCscSet(const BoardHandle* board, const double* values);

/*
 * Measures the rate of the frames that come in: 10000.0 divided by the frame period, which the board
 * counts in units of 100 microseconds.
 * Returns frames a second, 0.0 when no frames come, or -54.0 for a handle that is refused. A USB board
 * that reports frames with a period of 0 gives infinity, a PCIe board 0.0. Frames are noticed by a bit that
 * toggles with each and is read every 100 ms on USB, every 10 ms on PCIe: when an even number of frame
 * periods fits that interval to the microsecond (10 ms on USB), the bit seems to stand still and the rate is
 * 0.0; kVexaAutoActual does not depend on it. Blocks up to 1.1 s. Boards: both. One thread a board.
 */
KVEXA_API double KVEXA_CALL kVexaGetFrameRate(const BoardHandle* board);

/*
 * Measures the frames that come in: their two dimensions and their rate.
 *   actual  out: the measurement; when no frame came, whatever a USB board's measurement registers hold. A
 *           PCIe board leaves it untouched unless the result is KVEXA_OK.
 * KVEXA_OK always on a USB board, KVEXA_BAD_ARGUMENT when actual is null. On a PCIe board also
 * KVEXA_MEASURE_FAILED, KVEXA_DRIVER_1001, KVEXA_DRIVER_3000, KVEXA_DRIVER_3001. Blocks up to 300 polls of
 * 11 ms on a USB board, without limit on a PCIe board. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaAutoActual(const BoardHandle* board, AutoActual* actual);

/*
 * kVexaAutoActual with a limit of its own.
 *   timeout  in: milliseconds. A USB board polls timeout / 10 + 1 times and does not report that the limit
 *            was reached. A PCIe board takes 0 for no limit, and returns KVEXA_TIMED_OUT; it takes driver
 *            status 0x1000 for success.
 * Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaAutoActualEx(const BoardHandle* board, AutoActual* actual,
                                               uint32_t timeout);

/* ---- Capture ----------------------------------------------------------------------------------- */

/*
 * Captures one frame.
 *   frameBytes  in: bytes to transfer, from kVexaCalcFrameSizeEx
 *   buffer      out: frameBytes bytes of room
 *   timeout     in: milliseconds for the transfer
 * KVEXA_BAD_ARGUMENT when frameBytes is 0 or buffer is null. A USB board returns the result of the
 * register write that stops it, also when the frame did not come: fill the buffer with a mark before,
 * or compare frames, to tell. A PCIe board returns KVEXA_ABORTED, KVEXA_TIMED_OUT, KVEXA_DRIVER_1001,
 * KVEXA_DRIVER_3000, KVEXA_DRIVER_3001 or KVEXA_DRIVER_1004 as its driver reports; it excludes the start of
 * other captures on PCIe boards of the process, and its driver keeps the time-out: the library waits without
 * limit for the driver, and for other boards' starts and one-shots to be over. On a USB board it blocks up to
 * the time-out and the register transfers. When another capture is ending on the USB board (see
 * kVexaMultiShotCaptureEx), it waits for that one first, at most 5000 ms; an abort sends it on at once.
 * Captures of other boards are not waited for. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaOneShotCapture(const BoardHandle* board, uint32_t frameBytes, void* buffer,
                                                 uint32_t timeout);

/*
 * Captures frames on a worker thread and returns at once.
 *   frameBytes  in: bytes of a frame
 *   frameCount  in: frames, or 0 for an endless capture that overwrites one buffer
 *   buffer      out: room for frameCount + 1 frames at steps of frameBytes rounded down to a multiple of
 *               4 (the worker reads one frame more than it was asked for); for one frame when endless
 *   timeout     in: milliseconds for each frame
 *   frameEvent  in: manual-reset event that is set after each frame, or null
 *   endEvent    in: manual-reset event that is set at the end, or null
 *   resultWord  out: how the capture stands, or null; read it at any time
 * KVEXA_BAD_ARGUMENT    frameBytes is 0 or buffer is null
 * KVEXA_REQUEST_FAILED  the board could not be set up; nothing runs
 * KVEXA_BUSY            the worker could not be created; nothing runs, the board is stopped
 * The start resets both events. The result word then holds:
 *   KVEXA_BUSY       a frame is on its way; also after a counted capture has come to its very end, whether
 *                    it was complete or aborted
 *   KVEXA_TIMED_OUT  the last frame did not come; the next one may overwrite this
 *   KVEXA_OK         a frame is complete, or all of them are
 *   KVEXA_ABORTED    an endless capture with an end event was aborted
 * A counted capture that is complete sets the end event twice: with KVEXA_OK when the last frame is
 * there, and with KVEXA_BUSY when the worker has read its one frame more and is about to stop the board. A
 * capture that starts on the same USB board meanwhile waits until it is stopped, at most 5000 ms; then the
 * stop can hit the new capture. kVexaAbortCapture, for any board, sends a start that waits on at once.
 * Buffer, events and result word stay the capture's until the worker has ended: wait for
 * kVexaAbortCapture, which is right after a complete capture too. One capture a process on USB boards.
 *
 * On a PCIe board frames are rounded up to a multiple of 4 bytes and the buffer holds exactly frameCount
 * of them; the end event must be given, and comes once, after the result word: KVEXA_OK, KVEXA_ABORTED,
 * KVEXA_TIMED_OUT, KVEXA_DRIVER_1001, KVEXA_DRIVER_3000, KVEXA_DRIVER_3001, KVEXA_DRIVER_1004, or KVEXA_BUSY
 * when the worker had no resources or no end event. The frame event comes once more behind it. The start
 * returns KVEXA_BAD_ARGUMENT for a board index above 4 and for more bytes than the address space has.
 * A second start on a board without an abort runs beside the first one; the abort ends both.
 * The start blocks for its register transfers; on a PCIe board it returns at once, and its worker waits for
 * other boards' starts and one-shots to be over, until it is aborted. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaMultiShotCaptureEx(const BoardHandle* board, uint32_t frameBytes,
                                                     uint32_t frameCount, void* buffer, uint32_t timeout,
                                                     void* frameEvent, void* endEvent, int32_t* resultWord);

/*
 * kVexaMultiShotCaptureEx with the repetition as an argument of its own.
 *   continuous  in: 1 repeats the capture into the same buffer until it is aborted, 0 counts
 * KVEXA_BAD_ARGUMENT also when frameCount is 0. Boards: PCIe; USB: KVEXA_OK, nothing is done. One thread a
 * board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaMultiShotCapture2(const BoardHandle* board, uint32_t frameBytes,
                                                    uint32_t frameCount, uint32_t continuous, void* buffer,
                                                    uint32_t timeout, void* frameEvent, void* endEvent,
                                                    int32_t* resultWord);

/*
 * Captures without end into a ring of buffers on a worker thread, and returns at once.
 *   frameBytes  in: bytes of a frame
 *   ringSize    in: number of buffers, n
 *   buffers     out: n addresses of frameBytes bytes each
 *   timeout     in: milliseconds for each frame
 *   events      in: n + 1 manual-reset events. Event i is set when buffer i is full; reset it to give the
 *               buffer back. Event n is set at the end.
 *   resultWord  out: KVEXA_OK after a frame, KVEXA_TIMED_OUT after one that did not come (its buffer is
 *               tried again), KVEXA_ABORTED at the end; or null
 * KVEXA_BAD_ARGUMENT    frameBytes or ringSize is 0, or an array is null
 * KVEXA_REQUEST_FAILED  the board could not be set up; nothing runs
 * KVEXA_BUSY            the worker could not be created; nothing runs, the board is stopped
 * The worker fills no buffer whose event is set: a late consumer loses frames on the board, never in a
 * buffer that it holds. kVexaAbortCapture ends it without waiting: both arrays, the buffers and the
 * result word stay the capture's until event n is set. Behind event n the worker still stops the board
 * with a few requests; a capture that starts on the board meanwhile waits for them as behind a counted
 * capture. Boards: USB; PCIe: KVEXA_NOT_ON_PCIE. One thread a board, one capture a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaMultiShotCaptureArratEx(const BoardHandle* board, uint32_t frameBytes,
                                                          uint32_t ringSize, void* const* buffers,
                                                          uint32_t timeout, void* const* events,
                                                          int32_t* resultWord);

/*
 * Lets the board store frames in its memory and transfers them then, all at once.
 *   frameBytes  in: bytes of a frame
 *   frameCount  in: frames
 *   buffer      out: frameBytes * frameCount bytes of room
 *   timeout     in: milliseconds for the whole transfer
 * KVEXA_BAD_ARGUMENT  frameBytes or frameCount is 0, or buffer is null; the board's capture is held
 * KVEXA_TOO_LARGE     more than the board's 32 MiB; the board's capture is held
 * KVEXA_ABORTED       kVexaAbortCapture was called from another thread; no frame is read
 * Otherwise the result of the register write that stops the board, also when the frames did not come.
 * Waiting for the board to store the frames has no limit: a sensor that does not stream, or a board that
 * is pulled out, keeps the call waiting until another thread aborts it. Behind a capture that is ending on
 * the board it waits as kVexaOneShotCapture does. Boards: USB; PCIe: KVEXA_NOT_ON_PCIE. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaMultiShotStorage(const BoardHandle* board, uint32_t frameBytes,
                                                   uint32_t frameCount, void* buffer, uint32_t timeout);

/*
 * Ends the continuous, ring and storage captures that run, on whichever USB board of the process, and stops
 * the board. Also right when nothing runs.
 * Returns 0, or the bitwise OR of the results of the register writes that stop the board. Waits for the
 * worker of the last kVexaMultiShotCaptureEx, whichever board it captures from, at most for the time-out last
 * given to that function or to kVexaOneShotCapture (for any board) and 500 ms more; when a frame takes longer
 * than that, the worker ends after it. Ring and storage captures end by themselves at the next frame or poll.
 * Before its own requests the abort waits until such a capture of the board is done with the register
 * transfer that it is at, at most 500 ms; one whose request hangs in the driver costs no more than that.
 * Starts that wait for a capture to end go on at once. Waits for no other call: see "Threads" above for what
 * to keep apart. A PCIe board: returns the result of the stop request, or KVEXA_FAILED when the handle is not
 * that of an open board with an index up to 4 (nothing is sent then). Ends the board's own captures and no
 * other PCIe board's, waits for their workers without limit, and sends the stop also when none runs. A worker
 * gives the driver 1000 ms to complete the capture that was stopped, and the result word tells what the
 * driver reports, KVEXA_OK unless it says otherwise; when the abort has returned, the driver writes into the
 * buffer no more. Only a driver that has not completed the capture by then may still do so; the result word
 * is KVEXA_ABORTED then. It also is when the driver had refused the capture, at once, and when the worker
 * hears of a frame before it hears of the end. USB captures of the process end too. Boards: both. Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kVexaAbortCapture(const BoardHandle* board);

/*
 * Captures into an array of buffers on a worker thread until kVexaMultiShotCapArrayStop, and returns at
 * once. Set the board's buffer with kVexaSetBufSize before.
 *   frameBytes, ringSize, buffers, timeout, events  as for kVexaMultiShotCaptureArratEx; timeout not 0
 *   resultWord  out: KVEXA_OK after a frame and after a normal end, KVEXA_TIMED_OUT when a frame did not
 *               come, KVEXA_BUSY when an event could not be tested or set; the last two end the capture
 * KVEXA_FAILED        an array capture runs already, on whichever board of the process, or another thread is
 *                     just starting one
 * KVEXA_BAD_ARGUMENT  an argument is 0 or null
 * KVEXA_BUSY          the worker could not be created; nothing runs, the board is stopped
 * Otherwise the first result of the register transfers that is not 0; nothing runs then. Event n is set
 * when the worker has stopped capturing. Arrays, buffers and result word stay the capture's until
 * kVexaMultiShotCapArrayStop has returned 0 or event n is set. The start blocks for its register transfers,
 * and behind a capture that is ending on the board as kVexaOneShotCapture does. Boards: USB; PCIe:
 * KVEXA_NOT_ON_PCIE. One thread a board, one array capture a process. A capture that has ended by itself
 * counts as running until it is stopped.
 */
KVEXA_API int32_t KVEXA_CALL kVexaMultiShotCapArrayStart(const BoardHandle* board, uint32_t frameBytes,
                                                         uint32_t ringSize, void* const* buffers,
                                                         uint32_t timeout, void* const* events,
                                                         int32_t* resultWord);

/*
 * Ends the array capture, waits until the board has drained, and stops it. KVEXA_OK also when none runs, when
 * another thread is just starting one, and when another thread stops it already. Use the handle of the board
 * that captures: the worker is ended whichever board's it is, but it is this board that is stopped.
 * KVEXA_BUSY  the worker did not end within its time-out and two seconds; or the board did not drain
 *             within the capture's time-out, which is polled every 10 ms and whose last poll counts as too
 *             late: then the board is in mode 0 but not stopped. A time-out below 10 ms allows no poll.
 * Otherwise the first result of the register transfers that is not 0. The process may start another array
 * capture as soon as this one's end has begun. Boards: USB; PCIe: KVEXA_NOT_ON_PCIE. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaMultiShotCapArrayStop(const BoardHandle* board);

/*
 * Sets the size of the board's frame buffer.
 *   mebibytes  in: 0.0005 to 31.9995
 * KVEXA_BAD_ARGUMENT for another size; else register results. Boards: USB; PCIe: KVEXA_NOT_ON_PCIE. One
 * thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSetBufSize(const BoardHandle* board, double mebibytes);

/*
 * Switches the board's frame-drop mode.
 *   mode  in: 1 on, 0 off; another value does nothing
 * KVEXA_OK always on a USB board. Boards: USB; PCIe: KVEXA_NOT_ON_PCIE. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaFrmDropStop(const BoardHandle* board, uint32_t mode);

/*
 * Tells whether the board dropped frames: 1 if so, else 0, also when its register could not be read.
 * Boards: USB; PCIe: 0. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaIsDropFrame(const BoardHandle* board);

/*
 * Notification of frame starts of a PCIe board: an interval of bytes, a wait that is armed for one interval,
 * and its cancellation.
 *   bytes       in: an interval passes each time that many bytes have arrived; the two low bits are cleared
 *   overlapped  in: an OVERLAPPED with an event of the caller's own, which the driver sets when the interval
 *               has passed; it stays the driver's until then or until the wait is cancelled
 * kVexaSetWaitIntervalParam: KVEXA_BAD_ARGUMENT for 0, tested before the board type; else KVEXA_OK
 * whatever the register write did.
 * kVexaWaitInterval returns at once: KVEXA_OK, KVEXA_BAD_ARGUMENT when overlapped is null,
 * KVEXA_MEASURE_FAILED, KVEXA_DRIVER_1001, KVEXA_DRIVER_3000 or KVEXA_DRIVER_3001 as the driver reports.
 * kVexaCancelInterval: KVEXA_OK, KVEXA_DRIVER_3000 or KVEXA_DRIVER_3001.
 * Boards: PCIe; USB: KVEXA_NOT_ON_USB. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSetWaitIntervalParam(const BoardHandle* board, uint32_t bytes);
KVEXA_API int32_t KVEXA_CALL kVexaWaitInterval(const BoardHandle* board, void* overlapped);
KVEXA_API int32_t KVEXA_CALL kVexaCancelInterval(const BoardHandle* board);

/* ---- The PCIe driver --------------------------------------------------------------------------- */

/*
 * Lock and unlock a region of memory for the driver.
 *   start   in: address of the region
 *   length  in: bytes
 * kVexaLockMemory: KVEXA_OK, KVEXA_DRIVER_3000 or KVEXA_DRIVER_3001. kVexaUnlockMemory returns the driver's
 * status word as it is, 0 on success (0x3000 comes back as 12288). Boards: PCIe; USB: KVEXA_NOT_ON_USB. One
 * thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaLockMemory(const BoardHandle* board, uint32_t start, uint32_t length);
KVEXA_API int32_t KVEXA_CALL kVexaUnlockMemory(const BoardHandle* board, uint32_t start, uint32_t length);

/*
 * Restart the device functions of all PCIe boards; no board need be open. The second form re-scans the bus
 * and tries once more when a function is missing.
 * KVEXA_OK, KVEXA_RELOAD_NO_MEMORY, KVEXA_RELOAD_NO_DEVICE_LIST, KVEXA_RELOAD_NO_IDENTIFIERS,
 * KVEXA_RELOAD_CHANGE_FAILED or KVEXA_RELOAD_NO_DEVICE. That Windows wants a reboot
 * (KVEXA_RELOAD_NEEDS_REBOOT) is not reported. Needs administrator rights. Every call keeps one list of
 * devices until the process ends. One thread a process.
 */
KVEXA_API int32_t KVEXA_CALL kVexaReloadPcieDevice(void);
KVEXA_API int32_t KVEXA_CALL kVexaReloadPcieDeviceEx(void);

/* ---- Images ------------------------------------------------------------------------------------ */

/*
 * The conversions take no board and keep no state; any thread. Images are row-major, top row first, rows
 * not padded. Buffers may stand at any address; source and destination must not overlap. "888" is three
 * bytes a pixel (blue, green, red), "565" a little-endian word with red on top. Every one returns KVEXA_OK,
 * or KVEXA_BAD_ARGUMENT with nothing written: for a null pointer, a size that its text does not allow or
 * whose image exceeds the address space, and codes (pattern, bits, method, order, format) out of their
 * range. Products of width and height are formed so that they cannot wrap. Buffer sizes are the caller's
 * promise. Sums of doubles are rounded to nearest whatever the caller's floating-point unit is set to; no
 * exception is raised in it, and its settings and flags stay as they were.
 */

/*
 * Convert a Bayer frame by bilinear interpolation.
 *   source       in: width * height samples; 16-bit samples carry the pixel in their low bits
 *   destination  out: width * height pixels
 *   width        in: pixels, 4 or more
 *   height       in: pixels, 4 or more
 *   pattern      in: KvexaBayerPattern
 *   bits         in: depth of 16-bit samples, 9 to 16
 * A missing colour is the truncated mean of the nearest samples of that colour; at the borders of those
 * inside the image. The top row, but for its corners, is interpolated from source rows 2 and 3. A 16-bit
 * sample beyond its depth is not masked: in 565 it spills into the next field, in 888 the low 8 bits of
 * the shifted value remain. kVexaRaw8ToRgb565 with KVEXA_BAYER_GRBG gives the green sites of the top row,
 * its corners excepted, half their blue.
 */
KVEXA_API int32_t KVEXA_CALL kVexaRaw8ToRgb565(const uint8_t* source, uint16_t* destination, uint32_t width,
                                               uint32_t height, uint32_t pattern);
KVEXA_API int32_t KVEXA_CALL kVexaRaw8ToRgb888(const uint8_t* source, uint8_t* destination, uint32_t width,
                                               uint32_t height, uint32_t pattern);
KVEXA_API int32_t KVEXA_CALL kVexaRaw16ToRgb565(const uint16_t* source, uint16_t* destination, uint32_t width,
                                                uint32_t height, uint32_t pattern, uint32_t bits);
KVEXA_API int32_t KVEXA_CALL kVexaRaw16ToRgb888(const uint16_t* source, uint8_t* destination, uint32_t width,
                                                uint32_t height, uint32_t pattern, uint32_t bits);

/*
 * Convert a Bayer frame through 3x3 kernels of the caller's: demosaicing, colour correction and sharpening
 * in one.
 *   source       in: width * height samples
 *   destination  out: width * height pixels with a black frame one pixel wide; Ex: the interior alone,
 *                (width - 2) * (height - 2) pixels
 *   width        in: pixels, 4 or more; Ex: 3 or more
 *   height       in: pixels, 4 or more; Ex: 3 or more
 *   pattern      in: KvexaBayerPattern
 *   kernels      in: 12 kernels of 9 doubles (row above, own row, row below); 3 (for red, green, blue) a
 *                site, the sites in the order blue, green in a row with blue, green in a row with red, red
 *   bits         in: depth of 16-bit samples, 9 to 16
 * A sum above the largest sample value becomes that value. There is no clamp at zero: a negative sum is
 * truncated toward zero and its low bits reach the pixel. Sums that no 32-bit integer holds, and what is
 * not a number, count as 0x80000000.
 */
KVEXA_API int32_t KVEXA_CALL kVexaRaw8ToMtxRgb565(const uint8_t* source, uint16_t* destination,
                                                  uint32_t width, uint32_t height, uint32_t pattern,
                                                  const double* kernels);
KVEXA_API int32_t KVEXA_CALL kVexaRaw8ToMtxRgb888(const uint8_t* source, uint8_t* destination, uint32_t width,
                                                  uint32_t height, uint32_t pattern, const double* kernels);
KVEXA_API int32_t KVEXA_CALL kVexaRaw8ToMtxRgb565Ex(const uint8_t* source, uint16_t* destination,
                                                    uint32_t width, uint32_t height, uint32_t pattern,
                                                    const double* kernels);
KVEXA_API int32_t KVEXA_CALL kVexaRaw8ToMtxRgb888Ex(const uint8_t* source, uint8_t* destination,
                                                    uint32_t width, uint32_t height, uint32_t pattern,
                                                    const double* kernels);
KVEXA_API int32_t KVEXA_CALL kVexaRaw16ToMtxRgb565(const uint16_t* source, uint16_t* destination,
                                                   uint32_t width, uint32_t height, uint32_t pattern,
                                                   const double* kernels, uint32_t bits);
KVEXA_API int32_t KVEXA_CALL kVexaRaw16ToMtxRgb888(const uint16_t* source, uint8_t* destination,
                                                   uint32_t width, uint32_t height, uint32_t pattern,
                                                   const double* kernels, uint32_t bits);
KVEXA_API int32_t KVEXA_CALL kVexaRaw16ToMtxRgb565Ex(const uint16_t* source, uint16_t* destination,
                                                     uint32_t width, uint32_t height, uint32_t pattern,
                                                     const double* kernels, uint32_t bits);
KVEXA_API int32_t KVEXA_CALL kVexaRaw16ToMtxRgb888Ex(const uint16_t* source, uint8_t* destination,
                                                     uint32_t width, uint32_t height, uint32_t pattern,
                                                     const double* kernels, uint32_t bits);

/*
 * Convert a YUV 4:2:2 frame of bytes U, Y0, V, Y1 with the studio-range equations: in integers (result of
 * white is 254), Ex: in doubles.
 *   source       in: width * height / 2 groups of four bytes, each two pixels
 *   destination  out: width * height pixels; the last one of an odd count is not written
 *   width        in: pixels
 *   height       in: pixels; width * height is 2 or more
 */
KVEXA_API int32_t KVEXA_CALL kVexaYuyvToRgb565(const uint8_t* source, uint16_t* destination, uint32_t width,
                                               uint32_t height);
KVEXA_API int32_t KVEXA_CALL kVexaYuyvToRgb888(const uint8_t* source, uint8_t* destination, uint32_t width,
                                               uint32_t height);
KVEXA_API int32_t KVEXA_CALL kVexaYuyvToRgb565Ex(const uint8_t* source, uint16_t* destination, uint32_t width,
                                                 uint32_t height);
KVEXA_API int32_t KVEXA_CALL kVexaYuyvToRgb888Ex(const uint8_t* source, uint8_t* destination, uint32_t width,
                                                 uint32_t height);

/*
 * The same through a colour matrix of the caller's.
 *   matrix  in: 13 doubles: the weights of Y, U, V and a constant for red, then for green and for blue,
 *           and a scale of the three constants
 */
KVEXA_API int32_t KVEXA_CALL kVexaYuyvToMtxRgb565(const uint8_t* source, uint16_t* destination,
                                                  uint32_t width, uint32_t height, const double* matrix);
KVEXA_API int32_t KVEXA_CALL kVexaYuyvToMtxRgb888(const uint8_t* source, uint8_t* destination, uint32_t width,
                                                  uint32_t height, const double* matrix);

/*
 * Convert a YUV 4:2:2 frame by any method, order and format.
 *   source       in: width * height / 2 groups of four samples, each two pixels
 *   destination  out: width * height pixels of the format; the last one of an odd count is not written
 *   width        in: pixels
 *   height       in: pixels; width * height is 2 or more
 *   method       in: KvexaYuyvMethod
 *   order        in: 0 for Y0, U, Y1, V; any other value for U, Y0, V, Y1
 *   format       in: KVEXA_FORMAT_BGR24, KVEXA_FORMAT_RGB565 or KVEXA_FORMAT_RGB555; the last keeps red in
 *                bits 15 to 11, has green in bits 9 to 5, and its bit 10 is 0
 *   bits         in: depth of 16-bit samples, 9 to 16
 * Samples of any depth give channels of 8 bits, clamped at both ends. With 16-bit samples the double
 * studio-range method subtracts 16 from the luma whatever the depth.
 */
KVEXA_API int32_t KVEXA_CALL kVexaYuyv8ToRgbT2(const uint8_t* source, void* destination, uint32_t width,
                                               uint32_t height, uint32_t method, uint32_t order,
                                               uint32_t format);
KVEXA_API int32_t KVEXA_CALL kVexaYuyv16ToRgbT2(const uint16_t* source, void* destination, uint32_t width,
                                                uint32_t height, uint32_t method, uint32_t order,
                                                uint32_t format, uint32_t bits);

/*
 * The same through a colour matrix of the caller's.
 *   matrix  in: 13 doubles, as for kVexaYuyvToMtxRgb565
 *   bits    in: depth of 16-bit samples, 9 to 16
 * Here an order above 1 is refused. With 16-bit samples the scale of the constants is multiplied by
 * 1 << (bits - 8).
 */
KVEXA_API int32_t KVEXA_CALL kVexaYuyv8ToMtxRgbT2(const uint8_t* source, void* destination, uint32_t width,
                                                  uint32_t height, uint32_t order, uint32_t format,
                                                  const double* matrix);
KVEXA_API int32_t KVEXA_CALL kVexaYuyv16ToMtxRgbT2(const uint16_t* source, void* destination, uint32_t width,
                                                   uint32_t height, uint32_t order, uint32_t format,
                                                   const double* matrix, uint32_t bits);

/*
 * Saves a rectangle of an image as bare bytes: no header, rows from top to bottom, not padded.
 *   path         in: the file, created or overwritten
 *   image        in: imageWidth * imageHeight pixels, top row first, rows not padded
 *   imageWidth   in: pixels
 *   imageHeight  in: pixels; an image may be shorter in memory, nothing below the rectangle is read
 *   rect         in: the rectangle to save
 *   format       in: KvexaInputFormat of the pixels; it decides about the bytes a
 *                    pixel: 1, 13, 40-43: 1; 2, 11, 12, 14, 20, 44-47: 2; 3, 10: 3; 4: 4
 * KVEXA_BAD_ARGUMENT     a null pointer, a rectangle that is empty, not inside the image or larger than
 *                        memory, any other format; no file is made
 * KVEXA_FILE_NOT_OPENED  the file cannot be created, or not written to its end; what was written stays
 * Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSaveBinFile(const char* path, const void* image, uint32_t imageWidth,
                                              uint32_t imageHeight, const SaveRect* rect, uint32_t format);

/*
 * Saves a rectangle of an image as a Windows bitmap, bottom row first. Rows are written at their exact
 * length: unlike most programs this one does not pad them to a multiple of 4 bytes, so choose a width
 * that needs no padding when other programs shall read the file.
 *   path         in: the file, created or overwritten
 *   image        in: imageWidth * imageHeight pixels, top row first, rows not padded
 *   imageWidth   in: pixels
 *   imageHeight  in: pixels; an image may be shorter in memory, nothing below the rectangle is read
 *   rect         in: the rectangle to save
 *   format       in: KvexaPixelFormat of the image
 *   kind         in: KvexaBmpKind. Allowed: grey to all three, RGB565 to 16 and 24 bits, 24-bit to 24
 * KVEXA_BAD_ARGUMENT     a null pointer, a rectangle that is empty, not inside the image or larger than
 *                        memory, a format and kind that do not go together, a file of 4 GiB or more; no
 *                        file is made
 * KVEXA_FILE_NOT_OPENED  the file cannot be created, or not written to its end; what was written stays
 * Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSaveBmpFile(const char* path, const void* image, uint32_t imageWidth,
                                              uint32_t imageHeight, const SaveRect* rect, uint32_t format,
                                              uint32_t kind);

/*
 * Saves a rectangle of an image as a baseline JPEG file.
 *   path         in: the file, created or overwritten
 *   image        in: imageWidth * imageHeight pixels, top row first, rows not padded
 *   imageWidth   in: pixels
 *   imageHeight  in: pixels; an image may be shorter in memory, nothing below the rectangle is read
 *   rect         in: the rectangle to save; the format carries at most 65500 pixels in each direction
 *   format       in: KVEXA_FORMAT_BGR24, KVEXA_FORMAT_RGB565 or KVEXA_FORMAT_RGB555
 *   quality      in: 0 (smallest file) to 100
 * The encoder's memory limit can be set in the environment of the process: JPEGMEM=8M.
 * KVEXA_OK            saved; also, and then no file is made, when there is no memory for a copy of the
 *                     rectangle (3 bytes a pixel)
 * KVEXA_BAD_ARGUMENT  a null pointer, a rectangle that is empty, not inside the image or larger than memory,
 *                     another format (grey too) or quality; no file is made
 * KVEXA_FAILED        the file cannot be created, or not written to its end, or the encoder refused the
 *                     image; what was written stays
 * Any thread.
 */
KVEXA_API int32_t KVEXA_CALL kVexaSaveJpegFile(const char* path, const void* image, uint32_t imageWidth,
                                               uint32_t imageHeight, const SaveRect* rect, uint32_t format,
                                               uint32_t quality);

/*
 * Tells the versions of everything that a board works with. Each is stored as soon as it is known, so those
 * before a failure are good and those behind it stay as they were.
 *   board            in: an open board
 *   fpgaVersion      out: the board's design; 16 bits on USB boards, 32 on PCIe boards
 *   firmwareVersion  out: the device release number of a USB board in binary-coded decimal; PCIe boards: 0
 *   driverVersion    out: the driver file's product version, its four digits as hexadecimal digits (2.1.0.7
 *                    is 0x2107). A PCIe board's driver file may be missing: then this stays as it was
 *   libraryVersion   out: the same for KVEXA_LIB.dll, which Windows looks for as it looks for libraries
 * KVEXA_BAD_ARGUMENT    also for a null pointer
 * KVEXA_REQUEST_FAILED  the board's design or firmware version could not be read; other codes of register
 *                       reads (kVexaFpgaRead) too
 * KVEXA_FAILED          the driver file's version (USB boards) or the library's could not be read, or has not
 *                       exactly four digits
 * Every product version that a file has is also printed to the process's standard output, as
 * "ProductVersion[040904b0]:8:2.1.0.7" and a line feed: language, code page, length with its end, text.
 * Blocks as long as a register read. Boards: both. One thread a board.
 */
KVEXA_API int32_t KVEXA_CALL kVexaGetVersion(const BoardHandle* board, uint32_t* fpgaVersion,
                                             uint32_t* firmwareVersion, uint32_t* driverVersion,
                                             uint32_t* libraryVersion);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ---- Layout ------------------------------------------------------------------------------------ */

#if defined(__cplusplus) && (__cplusplus >= 201103L || defined(_MSC_VER))
#define KVEXA_STATIC_ASSERT(condition) static_assert(condition, #condition)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define KVEXA_STATIC_ASSERT(condition) _Static_assert(condition, #condition)
#else
#define KVEXA_STATIC_ASSERT(condition) extern char kvexaLayoutIsRight[(condition) ? 1 : -1]
#endif

KVEXA_STATIC_ASSERT(sizeof(CapParam) == 52);
KVEXA_STATIC_ASSERT(offsetof(CapParam, HOFF) == 16);
KVEXA_STATIC_ASSERT(offsetof(CapParam, HREDUCT) == 24);
KVEXA_STATIC_ASSERT(offsetof(CapParam, HWEXCHG) == 32);
KVEXA_STATIC_ASSERT(offsetof(CapParam, EXCHGFORMAT) == 50);
KVEXA_STATIC_ASSERT(sizeof(SwitchStatus) == 12);
KVEXA_STATIC_ASSERT(offsetof(SwitchStatus, hardwareDip) == 4);
KVEXA_STATIC_ASSERT(offsetof(SwitchStatus, softwareDip) == 8);
KVEXA_STATIC_ASSERT(sizeof(SupplyStatus) == 48);
KVEXA_STATIC_ASSERT(offsetof(SupplyStatus, v2) == 12);
KVEXA_STATIC_ASSERT(offsetof(SupplyStatus, clock) == 24);
KVEXA_STATIC_ASSERT(offsetof(SupplyStatus, resetOn) == 36);
KVEXA_STATIC_ASSERT(offsetof(SupplyStatus, i2cOn) == 40);
KVEXA_STATIC_ASSERT(offsetof(SupplyStatus, powerSwitchOn) == 44);
KVEXA_STATIC_ASSERT(sizeof(PowerStep) == 24);
KVEXA_STATIC_ASSERT(offsetof(PowerStep, reset) == 8);
KVEXA_STATIC_ASSERT(offsetof(PowerStep, delay) == 20);
KVEXA_STATIC_ASSERT(sizeof(PowerSequence) == 2404);
KVEXA_STATIC_ASSERT(offsetof(PowerSequence, stepCount) == 2400);
KVEXA_STATIC_ASSERT(sizeof(AutoActual) == 16);
KVEXA_STATIC_ASSERT(offsetof(AutoActual, secondDimension) == 4);
KVEXA_STATIC_ASSERT(offsetof(AutoActual, frameRate) == 8);
KVEXA_STATIC_ASSERT(sizeof(SaveRect) == 16);
KVEXA_STATIC_ASSERT(offsetof(SaveRect, width) == 8);
KVEXA_STATIC_ASSERT(offsetof(SaveRect, height) == 12);
KVEXA_STATIC_ASSERT(sizeof(RegisterTableEntry) == 2056);
KVEXA_STATIC_ASSERT(offsetof(RegisterTableEntry, values) == 4);
KVEXA_STATIC_ASSERT(offsetof(RegisterTableEntry, unused) == 516);
KVEXA_STATIC_ASSERT(offsetof(RegisterTableEntry, valueCount) == 2052);
#if defined(_WIN32)
KVEXA_STATIC_ASSERT(sizeof(BoardHandle) == 12); /* fails in a 64-bit program: the DLL is 32-bit */
KVEXA_STATIC_ASSERT(offsetof(BoardHandle, boardType) == 4);
KVEXA_STATIC_ASSERT(offsetof(BoardHandle, boardIndex) == 8);
KVEXA_STATIC_ASSERT(sizeof(RegisterBatchEntry) == 12);
KVEXA_STATIC_ASSERT(offsetof(RegisterBatchEntry, data) == 4);
KVEXA_STATIC_ASSERT(offsetof(RegisterBatchEntry, count) == 8);
KVEXA_STATIC_ASSERT(sizeof(RegisterBatch) == 16);
KVEXA_STATIC_ASSERT(offsetof(RegisterBatch, entries) == 8);
KVEXA_STATIC_ASSERT(offsetof(RegisterBatch, entryCount) == 12);
#endif

/* NOLINTEND(modernize-*) */

#endif /* KVEXA_H */
