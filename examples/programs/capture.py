"""Captures one frame of the first USB board and saves it as a bitmap: python capture.py [sensor.csv capture.dat frame.bmp]

With a number behind them it then looks at as many frames through a ring: ... frame.bmp 100

For a 32-bit Python on Windows. Without arguments it plays the two files that stand beside it, and writes frame.bmp
into the current folder. The folder kvexa stands beside it or in ../bindings, KVEXA_LIB.dll beside it or in ../bin.
"""
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.append(os.path.join(HERE, os.pardir, "bindings"))

try:
    import kvexa
except ImportError:
    sys.exit("the folder kvexa was not found: it belongs beside this program, or into ../bindings")


def capture(registers=os.path.join(HERE, "sensor.csv"), parameters=os.path.join(HERE, "capture.dat"),
            picture="frame.bmp", count="0"):
    parameters = kvexa.read_parameters(parameters)
    with kvexa.Board("usb", 0) as board:
        board.power_up()
        board.play_registers(registers)
        board.configure(parameters)
        high, low = board.read_register(0x36, 0x0104, 2)
        print("the sensor's width: %d" % (high << 8 | low))
        board.capture().bayer_image("grbg").save(picture)
        print(picture)
        for number, frame in enumerate(board.frames(int(count)) if int(count) else (), 1):
            print("frame %d: first sample %d" % (number, frame.data[0]))


if __name__ == "__main__":
    if len(sys.argv) > 5 or not "".join(sys.argv[4:] or "0").isdecimal():
        print("python capture.py [sensor.csv capture.dat frame.bmp [100]]", file=sys.stderr)
        sys.exit(2)
    try:
        capture(*sys.argv[1:])
    except kvexa.KvexaError as failure:
        sys.exit("%s\n%s" % (failure, failure.advice or ""))
    except (kvexa.Error, OSError) as failure:
        sys.exit(str(failure))
    except KeyboardInterrupt:
        sys.exit("stopped")
