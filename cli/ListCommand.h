// kvexa list: which boards are there.
#pragma once

namespace cli {

void list();

}  // namespace cli
