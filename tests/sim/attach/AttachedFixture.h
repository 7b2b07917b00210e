// A loaded module with a machine under it.
#pragma once

#include <gtest/gtest.h>

#include "sim/attach/Attachment.h"
#include "tests/sim/attach/Host.h"
#include "tests/support/SimulatedTime.h"

class LoadedClient {
 public:
  explicit LoadedClient(const std::string& path = "sim_client.dll") : module_(LoadLibraryA(path.c_str())) {
    if (module_ == nullptr) throw std::runtime_error(path + " cannot be loaded");
    const FARPROC function = GetProcAddress(module_, "clientCalls");
    ClientCallsFunction* clientCalls = nullptr;
    std::memcpy(&clientCalls, &function, sizeof clientCalls);
    calls_ = clientCalls();
  }
  ~LoadedClient() { FreeLibrary(module_); }
  LoadedClient(const LoadedClient&) = delete;
  LoadedClient& operator=(const LoadedClient&) = delete;

  HMODULE module() const { return module_; }
  const ClientCalls& calls() const { return *calls_; }

 private:
  HMODULE module_;
  const ClientCalls* calls_ = nullptr;
};

// The client's file under another name, which Windows loads as another module.
class ClientCopy {
 public:
  ClientCopy() {
    char original[MAX_PATH];
    const LoadedClient client;
    const DWORD length = GetModuleFileNameA(client.module(), original, MAX_PATH);
    if (length == 0 || !CopyFileA(original, path_.c_str(), FALSE)) throw std::runtime_error("no copy");
  }
  ~ClientCopy() { DeleteFileA(path_.c_str()); }

  const std::string& path() const { return path_; }

 private:
  std::string path_ = testing::TempDir() + "sim_client_copy.dll";
};

class AttachedTest : public testing::Test {
 protected:
  LoadedClient client;
  sim::Machine machine;
  sim::Attachment attachment{client.module(), machine};
  Host host{client.calls()};

 private:
  kvexa::test::TakesPart takesPart_{machine.timeline()};
};
