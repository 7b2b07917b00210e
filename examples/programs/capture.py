"""Captures one frame into a file: python capture.py sensor.csv capture.dat frame.raw

For a 32-bit Python, with kvexa.py and KVEXA_LIB.dll beside this file.
"""
import ctypes
import os
import sys

import kvexa


def capture(registers, parameters, output):
    folder = os.path.dirname(os.path.abspath(__file__))
    library = kvexa.load(os.path.join(folder, "KVEXA_LIB.dll"))

    def call(name, *arguments):
        return kvexa.require(name, getattr(library, name)(*arguments))

    param = kvexa.CapParam()
    call("kVexaGetCapFileParam", os.fsencode(parameters), param)
    size, unit, width, height = (ctypes.c_uint32() for _ in range(4))
    call("kVexaCalcFrameSizeEx", param, size, unit, width, height, kvexa.KVEXA_ALIGN_512)

    board = kvexa.BoardHandle()
    call("kVexaDevOpen", kvexa.KVEXA_BOARD_USB, 0, board)
    try:
        for name in ("kVexaPowerV1On", "kVexaPowerV2On", "kVexaClockOn", "kVexaResetOff"):
            call(name, board)
        call("kVexaSetI2cFile", os.fsencode(registers), board)
        call("kVexaSetCapParam", board, param)
        frame = ctypes.create_string_buffer(size.value)
        call("kVexaOneShotCapture", board, size.value, frame, 1000)
    finally:
        library.kVexaDevClose(board)
    with open(output, "wb") as file:
        file.write(frame.raw)


if __name__ == "__main__":
    capture(*sys.argv[1:4])
