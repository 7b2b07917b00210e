// What Boost has for functions that wait. One of its headers uses what <utility> has without including it.
#pragma once

#include <utility>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace cli::serve {

namespace asio = boost::asio;

}  // namespace cli::serve
