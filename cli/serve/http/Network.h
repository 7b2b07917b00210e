// Boost's network library: sockets, HTTP and WebSockets. Few files need it, as it takes long to compile.
#pragma once

#include "cli/serve/http/Asio.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

namespace cli::serve {

namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using asio::ip::tcp;

}  // namespace cli::serve
