// Captures one frame of the first USB board and saves it as a bitmap: node capture.js [sensor.csv capture.dat frame.bmp]
// With a number behind them it then looks at as many frames through a ring: ... frame.bmp 100
//
// For a 32-bit Node.js on Windows, with the package koffi: npm install koffi. Without arguments it plays the two files
// that stand beside it, and writes frame.bmp into the current folder. KVEXA_LIB.dll stands beside it or in ../bin.
'use strict';
const fs = require('fs');
const path = require('path');

class Failure extends Error {}

// ---- The library ----

const KVEXA_BOARD_USB = 0;
const KVEXA_ALIGN_512 = 0;
const KVEXA_BAYER_GRBG = 0;
const KVEXA_FORMAT_BGR24 = 10;
const KVEXA_BMP_24_BITS = 10000;
const KVEXA_SLAVE7_SUB16 = 1;
const KVEXA_TIMED_OUT = -52;

// Arguments of the functions that are used here: p pointer, n number, d double. All return int32_t.
const functions = {
  kVexaDevOpen: 'nnp', kVexaDevClose: 'p', kVexaPowerV1On: 'p', kVexaPowerV2On: 'p', kVexaClockOn: 'p',
  kVexaResetOff: 'p', kVexaResetOn: 'p', kVexaClockOff: 'p', kVexaPowerV2Off: 'p', kVexaPowerV1Off: 'p',
  kVexaSetI2cFile: 'pp', kVexaRegRead: 'pnnnnp', kVexaGetCapFileParam: 'pp', kVexaSetCapParam: 'pp',
  kVexaCalcFrameSizeEx: 'pppppn', kVexaOneShotCapture: 'pnpn', kVexaRaw8ToRgb888: 'ppnnn',
  kVexaSaveBmpFile: 'ppnnpnn', kVexaSetBufSize: 'pd', kVexaMultiShotCapArrayStart: 'pnnpnpp',
  kVexaMultiShotCapArrayStop: 'p',
};
const types = { p: 'void *', n: 'uint32_t', d: 'double' };

function loadKoffi() {
  if (process.platform !== 'win32' || process.arch !== 'ia32') {
    throw new Failure('KVEXA_LIB.dll is a 32-bit library of Windows: use a 32-bit Node.js for Windows');
  }
  try {
    return require('koffi');
  } catch (error) {
    throw new Failure('the package koffi is missing here: npm install koffi');
  }
}

function loadLibrary(koffi) {
  const places = [__dirname, path.join(__dirname, '..', 'bin')].map((folder) => path.join(folder, 'KVEXA_LIB.dll'));
  const found = places.find((place) => fs.existsSync(place));
  if (!found) throw new Failure('KVEXA_LIB.dll was not found: put it beside this program');
  const library = koffi.load(found);
  const bound = {};
  for (const [name, kinds] of Object.entries(functions)) {
    // koffi adds the decoration of stdcall names itself: _kVexaDevOpen@12.
    bound[name] = library.func('__stdcall', name, 'int32_t', [...kinds].map((kind) => types[kind]));
  }
  return bound;
}

function loadWindows(koffi) {
  const kernel = koffi.load('kernel32.dll');
  const bind = (name, ...kinds) => kernel.func('__stdcall', name, 'uint32_t', kinds);
  return {
    getAcp: bind('GetACP'),
    toAnsi: bind('WideCharToMultiByte', 'uint32_t', 'uint32_t', 'str16', 'int32_t', 'void *', 'int32_t', 'void *', 'void *'),
    createEvent: bind('CreateEventA', 'void *', 'int32_t', 'int32_t', 'void *'),
    resetEvent: bind('ResetEvent', 'uint32_t'),
    closeHandle: bind('CloseHandle', 'uint32_t'),
    wait: bind('WaitForMultipleObjects', 'uint32_t', 'void *', 'int32_t', 'uint32_t'),
  };
}

// What a result means and what to do, from the list beside kvexa.h.
function describe(result) {
  const list = path.join(__dirname, '..', 'include', 'kvexa_results.inc');
  const lines = fs.existsSync(list) ? fs.readFileSync(list, 'utf8') : '';
  const found = lines.match(new RegExp(`^KVEXA_RESULT\\(\\w+, ${result}, "(.*)", "(.*)"\\)$`, 'm'));
  return found ? [`${result} (${found[1]})`, `\n${found[2]}`] : [`${result}`, ''];
}

function require0(call, result, file) {
  if (result >= 0) return result;
  const [text, advice] = describe(result);
  throw new Failure(`${file ? `${file}: ` : ''}${call} returned ${text}${advice}`);
}

// ---- A board ----

let stopped = false;

class Board {
  constructor(koffi) {
    this.koffi = koffi;
    this.windows = loadWindows(koffi);
    this.library = loadLibrary(koffi);
    this.handle = Buffer.alloc(12); // BoardHandle
    this.parameters = Buffer.alloc(52); // CapParam
  }

  call(name, ...values) {
    // Ctrl-C ends the program at the next call, by way of the powering down.
    if (stopped) throw new Failure('stopped');
    return require0(name, this.library[name](...values));
  }

  // The name of a file in the ANSI code page, in which the library takes names.
  ansi(name) {
    const utf8 = this.windows.getAcp() === 65001;
    const bytes = Buffer.alloc(4 * name.length + 1);
    const replaced = Buffer.alloc(4);
    const length = this.windows.toAnsi(0, utf8 ? 0x80 : 0x400, name, -1, bytes, bytes.length, null, utf8 ? null : replaced);
    if (length === 0 || replaced.readInt32LE(0) !== 0) {
      throw new Failure(`${name}: the name is not in this computer's ANSI code page; choose another name`);
    }
    return bytes;
  }

  callWithFile(name, file, ...values) {
    if (stopped) throw new Failure('stopped');
    return require0(name, this.library[name](this.ansi(file), ...values), file);
  }

  readParameters(file) {
    this.callWithFile('kVexaGetCapFileParam', file, this.parameters);
    const sizes = [0, 1, 2, 3].map(() => Buffer.alloc(4));
    this.call('kVexaCalcFrameSizeEx', this.parameters, ...sizes, KVEXA_ALIGN_512);
    [this.bytes, this.unit, this.width, this.height] = sizes.map((size) => size.readUInt32LE(0));
    if (this.unit !== 1) throw new Failure('this program converts 8-bit Bayer samples only');
  }

  open() { this.call('kVexaDevOpen', KVEXA_BOARD_USB, 0, this.handle); }

  powerUp() {
    for (const name of ['PowerV1On', 'PowerV2On', 'ClockOn', 'ResetOff']) this.call(`kVexa${name}`, this.handle);
  }

  // To its end, whatever fails.
  powerDownAndClose() {
    for (const name of ['ResetOn', 'ClockOff', 'PowerV2Off', 'PowerV1Off', 'DevClose']) {
      this.library[`kVexa${name}`](this.handle);
    }
  }

  readRegister(slave, address, count) {
    const words = Buffer.alloc(4 * count);
    this.call('kVexaRegRead', this.handle, slave, address, KVEXA_SLAVE7_SUB16, count, words);
    return Array.from({ length: count }, (_, i) => words.readUInt32LE(4 * i));
  }

  // A USB board does not tell when no frame comes: the buffer then stays as it was.
  takeFrame() {
    for (const mark of [0xA5, 0x5A]) {
      const frame = Buffer.alloc(this.bytes, mark);
      this.call('kVexaOneShotCapture', this.handle, frame.length, frame, 1000);
      if (!frame.every((byte) => byte === mark)) return frame;
    }
    return require0('kVexaOneShotCapture', KVEXA_TIMED_OUT);
  }

  savePicture(frame, file) {
    const colour = Buffer.alloc(3 * this.width * this.height);
    this.call('kVexaRaw8ToRgb888', frame, colour, this.width, this.height, KVEXA_BAYER_GRBG);
    const all = Buffer.alloc(16); // SaveRect
    all.writeUInt32LE(this.width, 8);
    all.writeUInt32LE(this.height, 12);
    this.callWithFile('kVexaSaveBmpFile', file, colour, this.width, this.height, all, KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS);
  }

  // Frame after frame. What a capture uses between calls must not move: it comes from koffi.alloc.
  async stream(count, look) {
    const { koffi, windows } = this;
    const buffers = Array.from({ length: 8 }, () => koffi.alloc('uint8_t', this.bytes));
    const events = Array.from({ length: buffers.length + 1 }, () => windows.createEvent(null, 1, 0, null));
    const words = (values) => {
      const memory = koffi.alloc('uint32_t', values.length);
      koffi.encode(memory, 'uint32_t', values, values.length);
      return memory;
    };
    const addresses = words(buffers.map((buffer) => Number(koffi.address(buffer))));
    const handles = words(events);
    const result = words([0]);
    this.call('kVexaSetBufSize', this.handle, 31.0);
    this.call('kVexaMultiShotCapArrayStart', this.handle, this.bytes, buffers.length, addresses, 1000, handles, result);
    try {
      for (let number = 0; number < count; ++number) {
        const i = number % buffers.length;
        await this.waitForFrame(events[i], events[buffers.length], result);
        look(number + 1, koffi.decode(buffers[i], 'uint8_t', this.bytes));
        windows.resetEvent(events[i]);
      }
    } finally {
      const ending = this.library.kVexaMultiShotCapArrayStop(this.handle);
      // A worker that did not end still has its buffers and events: they are left to the end of the process.
      if (ending >= 0) {
        for (const memory of [...buffers, addresses, handles, result]) koffi.free(memory);
        for (const event of events) windows.closeHandle(event);
      }
    }
  }

  async waitForFrame(full, end, result) {
    const either = Buffer.alloc(8);
    either.writeUInt32LE(full, 0);
    either.writeUInt32LE(end, 4);
    for (;;) {
      const found = await new Promise((resolve, reject) => {
        // On a thread of koffi's own, so that Ctrl-C is heard meanwhile.
        this.windows.wait.async(2, either, 0, 100, (error, value) => (error ? reject(error) : resolve(value)));
      });
      if (stopped) throw new Failure('stopped');
      if (found === 0) return;
      if (found === 1) require0('the capture', this.koffi.decode(result, 'int32_t'));
      if (found > 1 && found !== 258) throw new Failure("the capture's events cannot be waited for");
    }
  }
}

async function main(registers, parameters, picture, count) {
  process.on('SIGINT', () => { stopped = true; });
  const board = new Board(loadKoffi());
  board.readParameters(parameters);
  board.open();
  try {
    board.powerUp();
    board.callWithFile('kVexaSetI2cFile', registers, board.handle);
    board.call('kVexaSetCapParam', board.handle, board.parameters);
    const [high, low] = board.readRegister(0x36, 0x0104, 2);
    console.log(`the sensor's width: ${(high << 8) | low}`);
    board.savePicture(board.takeFrame(), picture);
    console.log(picture);
    if (count > 0) {
      await board.stream(count, (number, frame) => {
        if (global.gc) global.gc(); // node --expose-gc: whenever garbage is collected, the ring stays where it is
        console.log(`frame ${number}: first sample ${frame[0]}`);
      });
    }
  } finally {
    board.powerDownAndClose();
  }
}

const [registers = path.join(__dirname, 'sensor.csv'), parameters = path.join(__dirname, 'capture.dat'),
  picture = 'frame.bmp', count = '0', ...more] = process.argv.slice(2);
if (more.length > 0 || !/^\d+$/.test(count)) {
  console.error('node capture.js [sensor.csv capture.dat frame.bmp [100]]');
  process.exitCode = 2;
} else {
  main(registers, parameters, picture, Number(count)).catch((failure) => {
    console.error(failure instanceof Failure ? failure.message : `${failure}`);
    process.exitCode = 1;
  });
}
