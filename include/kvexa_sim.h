/*
 * kvexa_sim.h - the interface of kvexa_sim.dll: simulated camera-module test boards for any program that
 * drives boards through KVEXA_LIB.dll, without hardware and without a driver.
 *
 * kvexa_sim.dll is a 32-bit Windows DLL. From kvexaSimStartFile or kvexaSimStartText on, every KVEXA_LIB.dll
 * of the process finds the boards of a description instead of real ones, whenever and from whatever folder it
 * is loaded. KVEXA_LIB.dll itself is the one that ships. To give boards to a program without changing it,
 * start it with "kvexa run"; the functions here then work in that program as well.
 *
 * Functions are stdcall with plain names, for C, C++ and every language that calls a DLL. All of them return
 * a KvexaSimResult: 0 for success, a negative code for failure, after which kvexaSimLastError says in words
 * what went wrong. Texts and file names are UTF-8 and end with a zero. A board is named by its type
 * (BoardType of kvexa.h: 0 USB, 1 PCIe) and its index among the boards of its type, from 0, as kVexaDevOpen
 * counts them while all are plugged.
 *
 * Threads. Any thread may call any function at any time. The text of kvexaSimLastError belongs to the thread.
 *
 * Ownership. Nothing that is passed is kept after the call.
 *
 * Ending. kvexa_sim.dll stays loaded until the process ends, whoever frees it. Start it and stop it as often
 * as you like; a library that is called while no simulation runs reaches the real boards. A process may end
 * at any moment, also in a capture and without a stop.
 */
#ifndef KVEXA_SIM_H
#define KVEXA_SIM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef _WIN32
#define KVEXA_SIM_CALL __stdcall
#else
#define KVEXA_SIM_CALL
#endif

/* C++98 does not know it. */
#if defined(__cplusplus) && (__cplusplus >= 201103L || (defined(_MSC_VER) && _MSC_VER >= 1900))
#define KVEXA_SIM_NOEXCEPT noexcept
#else
#define KVEXA_SIM_NOEXCEPT
#endif

#define KVEXA_SIM_EXPORT(type) type KVEXA_SIM_CALL

typedef enum KvexaSimResult {
  KVEXA_SIM_OK = 0,
  KVEXA_SIM_BAD_ARGUMENT = -1,    /* a null pointer, or a value out of its range */
  KVEXA_SIM_BAD_DESCRIPTION = -2, /* the description: the text names line, column and reason */
  KVEXA_SIM_NOT_RUNNING = -3,     /* no simulation runs */
  KVEXA_SIM_RUNNING = -4,         /* a simulation runs already */
  KVEXA_SIM_NO_BOARD = -5,        /* the simulation has no such board */
  KVEXA_SIM_BAD_FILE = -6,        /* a file cannot be read or written */
  KVEXA_SIM_NO_MEMORY = -7,
  KVEXA_SIM_TOO_SMALL = -8, /* the caller's buffer */
  KVEXA_SIM_FAILED = -9     /* anything else */
} KvexaSimResult;

/* What happens to a driver request. */
typedef enum KvexaSimFault {
  KVEXA_SIM_FAULT_REFUSE = 0,      /* refused with the Windows error `value` */
  KVEXA_SIM_FAULT_KEEP_STATUS = 1, /* accepted, without a success in its status word */
  KVEXA_SIM_FAULT_SHORTEN = 2,     /* moves at most `value` bytes */
  KVEXA_SIM_FAULT_CORRUPT = 3,     /* USB: the bits of `value` (up to 255) are turned in every byte */
  KVEXA_SIM_FAULT_UNPLUG = 4,      /* the board is pulled out just before the request */
  KVEXA_SIM_FAULT_ANSWER = 5,      /* PCIe: ends at once with the driver status `value` */
  KVEXA_SIM_FAULT_ANSWER_LATER = 6 /* PCIe: ends when it is over with the driver status `value` */
} KvexaSimFault;

/*
 * Starts the boards of a description in TOML. Frames arrive at their real rate unless the description asks
 * for simulated time. docs/simulated-boards.md has the keys; examples/boards.toml shows each of them.
 *   path [in] the file. Files that it names are found from its folder.
 * Results: KVEXA_SIM_OK, KVEXA_SIM_BAD_ARGUMENT, KVEXA_SIM_BAD_DESCRIPTION (nothing was started),
 * KVEXA_SIM_RUNNING, KVEXA_SIM_BAD_FILE (the trace that the description names), KVEXA_SIM_NO_MEMORY.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimStartFile(const char* path) KVEXA_SIM_NOEXCEPT;

/*
 * The same for a text.
 *   text [in] the description itself. Files that it names are found from the working folder.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimStartText(const char* text) KVEXA_SIM_NOEXCEPT;

/*
 * Stops the simulation. Its boards are pulled out first: requests that wait in one end with an error,
 * captures that run end as they do when a board is unplugged. The next call of a library reaches the real
 * boards. Close boards before.
 * Results: KVEXA_SIM_OK, KVEXA_SIM_NOT_RUNNING.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimStop(void) KVEXA_SIM_NOEXCEPT;

/*
 * The sentence of the last failure of the calling thread, cut to the buffer and always ended with a zero.
 *   text [out] bytes: the buffer
 *   size [in]  bytes of the buffer, at least 1
 * Results: KVEXA_SIM_OK (an empty text when nothing failed yet), KVEXA_SIM_BAD_ARGUMENT, KVEXA_SIM_TOO_SMALL
 * (the text was cut). The text stays until the thread's next failure.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimLastError(char* text, uint32_t size) KVEXA_SIM_NOEXCEPT;

/*
 * How many boards of a type the simulation has, plugged or not.
 *   type  [in]  board type
 * Results: the number, KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_BAD_ARGUMENT.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimBoardCount(uint32_t type) KVEXA_SIM_NOEXCEPT;

/*
 * Puts a scene in front of a board's sensor; it shows in frames that are delivered from now on.
 *   type, index [in] the board
 *   scene       [in] "chart", a colour such as "#8090a0", or the path of a BMP or JPEG file
 * Results: KVEXA_SIM_OK, KVEXA_SIM_BAD_ARGUMENT, KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_NO_BOARD,
 * KVEXA_SIM_BAD_FILE, KVEXA_SIM_NO_MEMORY.
 */
KVEXA_SIM_EXPORT(int32_t)
kvexaSimSetScene(uint32_t type, uint32_t index, const char* scene) KVEXA_SIM_NOEXCEPT;

/*
 * Read and write a board register without a driver request.
 *   address [in]     USB: 0 to 0xFFFF
 *   value   [out|in] USB: 16 bits, PCIe: 32 bits
 * Results: KVEXA_SIM_OK, KVEXA_SIM_BAD_ARGUMENT (also for more bits than the board has),
 * KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_NO_BOARD.
 */
KVEXA_SIM_EXPORT(int32_t)
kvexaSimReadBoardRegister(uint32_t type, uint32_t index, uint32_t address,
                          uint32_t* value) KVEXA_SIM_NOEXCEPT;
KVEXA_SIM_EXPORT(int32_t)
kvexaSimWriteBoardRegister(uint32_t type, uint32_t index, uint32_t address,
                           uint32_t value) KVEXA_SIM_NOEXCEPT;

/*
 * Read and write a register of the sensor without the bus, whether the sensor is powered or not. What is
 * written is lost when the sensor loses its supply or is reset.
 *   address [in]     0 to 0xFFFF
 *   value   [out|in] 8 bits
 * Results: as above.
 */
KVEXA_SIM_EXPORT(int32_t)
kvexaSimReadSensorRegister(uint32_t type, uint32_t index, uint32_t address,
                           uint32_t* value) KVEXA_SIM_NOEXCEPT;
KVEXA_SIM_EXPORT(int32_t)
kvexaSimWriteSensorRegister(uint32_t type, uint32_t index, uint32_t address,
                            uint32_t value) KVEXA_SIM_NOEXCEPT;

/*
 * Sets a fault of one driver request of the board, or of every one from it on.
 *   request  [in] which request, counted from 1 for the next one
 *   andAfter [in] 0: that request alone; 1: every later one as well
 *   fault    [in] KvexaSimFault
 *   value    [in] see KvexaSimFault; ignored where a fault takes none
 * Results: KVEXA_SIM_OK, KVEXA_SIM_BAD_ARGUMENT (request 0, a fault that the board type does not have),
 * KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_NO_BOARD.
 */
KVEXA_SIM_EXPORT(int32_t)
kvexaSimSetFault(uint32_t type, uint32_t index, uint32_t request, uint32_t andAfter, uint32_t fault,
                 uint32_t value) KVEXA_SIM_NOEXCEPT;

/*
 * Conditions that last until they are ended: the sensor does not acknowledge, no frames come.
 *   acknowledge [in] 0: the sensor acknowledges nothing; 1: it does again
 *   frames      [in] 0: no frame reaches the board; 1: they do again
 * Results: KVEXA_SIM_OK, KVEXA_SIM_BAD_ARGUMENT, KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_NO_BOARD.
 */
KVEXA_SIM_EXPORT(int32_t)
kvexaSimSetConditions(uint32_t type, uint32_t index, uint32_t acknowledge,
                      uint32_t frames) KVEXA_SIM_NOEXCEPT;

/*
 * Forgets the faults and conditions of the board.
 * Results: KVEXA_SIM_OK, KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_NO_BOARD.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimClearFaults(uint32_t type, uint32_t index) KVEXA_SIM_NOEXCEPT;

/*
 * Pulls the board out (every request fails and the board is not found), or plugs it in again. Its registers
 * stay.
 *   plugged [in] 0 or 1
 * Results: KVEXA_SIM_OK, KVEXA_SIM_BAD_ARGUMENT, KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_NO_BOARD.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimPlug(uint32_t type, uint32_t index, uint32_t plugged) KVEXA_SIM_NOEXCEPT;

/*
 * The time of the boards.
 *   microseconds [out] since the start
 * Results: KVEXA_SIM_OK, KVEXA_SIM_BAD_ARGUMENT, KVEXA_SIM_NOT_RUNNING.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimGetTime(uint64_t* microseconds) KVEXA_SIM_NOEXCEPT;

/*
 * Lets simulated time pass. What is due until then, such as a board that is pulled out, has happened when it
 * returns.
 *   microseconds [in] how much
 * Results: KVEXA_SIM_OK, KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_BAD_ARGUMENT (the boards live in real time, or it
 * is more than a thousand years).
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimAdvanceTime(uint64_t microseconds) KVEXA_SIM_NOEXCEPT;

/*
 * Writes every driver request to a file from now on, one line each, behind what is in it.
 *   path [in] the file; null or an empty text ends the trace
 * Results: KVEXA_SIM_OK, KVEXA_SIM_NOT_RUNNING, KVEXA_SIM_BAD_FILE.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimTrace(const char* path) KVEXA_SIM_NOEXCEPT;

/*
 * Records from now on everything that reaches boards and comes back from them, as docs/recordings.md describes
 * it: of the simulated boards, or of the real ones while no simulation runs. Boards that were opened before
 * are not recorded. What the library gets is not changed.
 *   path   [in] the file, which is overwritten; null or an empty text ends the recording
 *   frames [in] 0: image data by their hash; 1: whole, in a file beside it (".frames" is appended to its name)
 * Results: KVEXA_SIM_OK, KVEXA_SIM_BAD_ARGUMENT, KVEXA_SIM_RUNNING (a recording is written already),
 * KVEXA_SIM_NOT_RUNNING (none is, so none can be ended), KVEXA_SIM_BAD_FILE, KVEXA_SIM_NO_MEMORY.
 */
KVEXA_SIM_EXPORT(int32_t) kvexaSimRecord(const char* path, uint32_t frames) KVEXA_SIM_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
