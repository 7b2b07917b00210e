// kvexa serve: the board in a browser, and for programs over HTTP.
#include <array>
#include <memory>

#include "cli/base/Failure.h"
#include "cli/commands/Commands.h"
#include "cli/files/FileRemarks.h"
#include "cli/files/RegisterFile.h"
#include "cli/frames/FrameSetup.h"
#include "cli/serve/Ending.h"
#include "cli/serve/Parts.h"
#include "cli/serve/api/Interface.h"
#include "cli/serve/http/Server.h"

#include <shellapi.h>

namespace cli::serve {

namespace {

struct CommandOptions {
  std::uint32_t port = 0;
  std::string address = "127.0.0.1";
  bool opens = false;
  bool starts = false;
  std::string registers;
  std::string parameters;
  std::string folder = "recordings";
  PictureOptions picture;
};

// The sensor of the simulated boards, and of many others, after power-up.
CapParam usualParameters() {
  CapParam parameters{};
  parameters.HCNT = 640;
  parameters.VCNT = 480;
  parameters.PORTMSBBIT = 7;
  parameters.BITWIDTH = 8;
  parameters.INPUTFORMAT = KVEXA_INPUT_BYTE_1;
  return parameters;
}

std::string registersOf(const std::string& path) {
  if (path.empty()) return {};
  checkReadable(path);
  const std::string cause = causeOfMisplay(path);
  if (!cause.empty()) {
    throw Failure(path + ": " + cause, ExitCode::file, "kvexa regs explain shows the whole file");
  }
  return readTextFile(path);
}

ServeOptions serveOptions(Context& context, const CommandOptions& options) {
  ServeOptions result;
  result.board.type = context.common.boardType;
  result.board.index = context.common.boardIndex;
  result.board.registers = registersOf(options.registers);
  result.board.picture = options.picture;
  result.board.parameters = usualParameters();
  if (!options.parameters.empty()) {
    Output silent;
    silent.begin("", true, true);
    checkReadable(options.parameters);
    result.board.parameters = readParameters(silent, options.parameters);
    layoutOf(silent, result.board.parameters);
  }
  result.isSimulated = context.common.simulate || !context.common.boards.empty();
  result.folder = options.folder;
  return result;
}

asio::ip::address addressOf(const std::string& text) {
  boost::system::error_code error;
  asio::ip::address address = asio::ip::make_address(text, error);
  if (error) throw UsageFailure("--listen " + text + ": is no address", "such as 127.0.0.1, 0.0.0.0 or ::1");
  return address;
}

std::string urlOf(const asio::ip::address& address, std::uint16_t port, const std::string& token) {
  // A browser cannot go to "any address".
  std::string host = address.is_unspecified() ? "127.0.0.1" : address.to_string();
  if (host.find(':') != std::string::npos) host = "[" + host + "]";
  return "http://" + host + ":" + std::to_string(port) + "/#token=" + token;
}

void warn(const asio::ip::address& address) {
  if (address.is_loopback()) return;
  std::fprintf(
      stderr,
      "kvexa: warning: with --listen %s other computers reach this server. Whoever has the token drives the "
      "board, and the connection is not encrypted: everybody on the way can read the token and the "
      "pictures.\n",
      address.to_string().c_str());
  std::fflush(stderr);
}

void tell(Context& context, const std::string& url) {
  context.output.put("url", url);
  context.output.print("%s\n", url.c_str());
  context.output.endLine();
  context.output.isReaderGone();
}

void awaitEnd(const Context& context, const Ending& ending) {
  const std::array<HANDLE, 2> events{context.interrupt->event(), ending.event()};
  WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, INFINITE);
}

// The network's thread. Its end begins with the board's, so that the module has no power whatever fails
// behind that.
class Running {
 public:
  Running(Server& server, Interface& interface, Parts& parts) : server_(server), parts_(parts) {
    server_.start(interface);
  }
  ~Running() {
    parts_.endBoard();
    server_.stop();
    parts_.stop();
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  Server& server_;
  Parts& parts_;
};

void serve(Context& context, const CommandOptions& options) {
  const asio::ip::address address = addressOf(options.address);
  TraceRing trace;
  const ServeOptions served = serveOptions(context, options);
  SessionOptions how;
  how.isRealTime = true;
  // Whoever only tries it out has no file that starts the sensor.
  how.isStreaming = options.registers.empty();
  how.listener = [&trace](const std::string& line) { trace.add(line); };
  const Session session(context.common, how);
  const Ending ending;

  asio::io_context io(1);
  Server server(io);
  server.listen(address, static_cast<std::uint16_t>(options.port));
  Parts parts(io, served, trace);
  Interface interface(parts, Guard(address, server.port(), randomToken()));
  warn(address);
  parts.start();
  if (options.starts) parts.startCapture();
  const Running running(server, interface, parts);
  const std::string url = urlOf(address, server.port(), interface.token());
  tell(context, url);
  if (options.opens) ShellExecuteA(nullptr, "open", url.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
  awaitEnd(context, ending);
}

}  // namespace

}  // namespace cli::serve

namespace cli {

Action serveCommand(Options& options) {
  const auto values = std::make_shared<serve::CommandOptions>();
  options.number("--port", values->port, 0, 65535, "the port; 0 for any free one")
      .text("--listen", values->address,
            "the address to listen on; another one than 127.0.0.1 lets other computers in")
      .flag("--open", values->opens, "open the page in the browser")
      .flag("--start", values->starts, "power up and capture at once")
      .text("--regs", values->registers,
            "register-setting file that is played when a capture powers the module up")
      .text("--params", values->parameters, "capture-parameter file; without it 640 x 480 samples of 8 bits")
      .text("--out", values->folder, "folder for recordings");
  addPictureOptions(options, values->picture);
  return [values](Context& context) { serve::serve(context, *values); };
}

}  // namespace cli
