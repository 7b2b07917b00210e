#include "sim/dll/Children.h"

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>
#include <utility>

#include "sim/attach/ImportTable.h"
#include "sim/program/Injection.h"
#include "sim/program/Variables.h"

namespace sim {

namespace {

// Windows' own functions, where kernel32 has them from, and the path of kvexa_sim.dll. Set once, before any
// module is watched.
decltype(&::CreateProcessA) realCreateProcessA = nullptr;
decltype(&::CreateProcessW) realCreateProcessW = nullptr;
std::wstring* libraryPath = nullptr;
HMODULE ownModule = nullptr;

bool isNamed(std::wstring_view entry, std::wstring_view name) {
  return entry.size() > name.size() && entry[name.size()] == L'=' &&
         _wcsnicmp(entry.data(), name.data(), name.size()) == 0;
}

bool isOurs(std::wstring_view entry) {
  for (const wchar_t* name : variables::all) {
    if (isNamed(entry, name)) return true;
  }
  return false;
}

// A given environment block with our variables as this process has them. Blocks are rows of texts that end
// with a zero, and end with an empty one.
std::wstring withVariables(const wchar_t* block) {
  std::wstring made;
  for (const wchar_t* entry = block; *entry != L'\0'; entry += std::wcslen(entry) + 1) {
    if (!isOurs(entry)) made.append(entry).push_back(L'\0');
  }
  for (const wchar_t* name : variables::all) {
    std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    if (value.empty()) continue;
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    made.append(name).append(L"=").append(value).push_back(L'\0');
  }
  made.push_back(L'\0');
  return made;
}

std::wstring wideBlock(const char* block) {
  std::wstring made;
  for (const char* entry = block; *entry != '\0'; entry += std::strlen(entry) + 1) {
    const int length = MultiByteToWideChar(CP_ACP, 0, entry, -1, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_ACP, 0, entry, -1, text.data(), length);
    made += text;  // with its zero
  }
  made.push_back(L'\0');
  return made;
}

// A child without its boards must not go on unnoticed. A 64-bit one cannot load the library either.
BOOL afterCreation(BOOL created, DWORD flags, PROCESS_INFORMATION* process) {
  if (created == FALSE) return created;
  if (inject(process->hProcess, *libraryPath) == Injected::failed) {
    const DWORD error = GetLastError();
    std::fprintf(stderr,
                 "kvexa_sim: the simulated boards could not be brought into a child process (error %lu)\n",
                 error);
    TerminateProcess(process->hProcess, 126);
  }
  if ((flags & CREATE_SUSPENDED) == 0) ResumeThread(process->hThread);
  return created;
}

// What a child is created with. When memory is short it gets its environment as it was given.
class Creation {
 public:
  Creation(void* environment, DWORD flags) noexcept
      : environment_(environment), flags_(flags | CREATE_SUSPENDED) {
    if (environment == nullptr) return;
    try {
      const bool isWide = (flags & CREATE_UNICODE_ENVIRONMENT) != 0;
      block_ = isWide ? withVariables(static_cast<const wchar_t*>(environment))
                      : withVariables(wideBlock(static_cast<const char*>(environment)).c_str());
      environment_ = block_.data();
      flags_ |= CREATE_UNICODE_ENVIRONMENT;
    } catch (...) {
    }
  }
  ~Creation() = default;
  Creation(const Creation&) = delete;
  Creation& operator=(const Creation&) = delete;

  void* environment() const { return environment_; }
  DWORD flags() const { return flags_; }

 private:
  std::wstring block_;
  void* environment_;
  DWORD flags_;
};

BOOL WINAPI createProcessA(LPCSTR application, LPSTR commandLine, LPSECURITY_ATTRIBUTES process,
                           LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                           LPCSTR folder, LPSTARTUPINFOA startup, LPPROCESS_INFORMATION information) {
  const Creation creation(environment, flags);
  const BOOL created =
      realCreateProcessA(application, commandLine, process, thread, inherit, creation.flags(),
                         creation.environment(), folder, startup, information);
  return afterCreation(created, flags, information);
}

BOOL WINAPI createProcessW(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                           LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                           LPCWSTR folder, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information) {
  const Creation creation(environment, flags);
  const BOOL created =
      realCreateProcessW(application, commandLine, process, thread, inherit, creation.flags(),
                         creation.environment(), folder, startup, information);
  return afterCreation(created, flags, information);
}

// Where Windows' function really is: kernel32 has its own, or takes it from another library by its imports.
template <class Function>
Function realFunction(const char* name) {
  const HMODULE kernel = GetModuleHandleA("kernel32.dll");
  const auto entries = findImports(kernel, name);
  void* const found =
      entries.empty() ? reinterpret_cast<void*>(GetProcAddress(kernel, name)) : *entries.front();
  return reinterpret_cast<Function>(found);
}

void redirect(HMODULE module, const char* name, void* real, void* ours) {
  if (real == nullptr) return;
  for (void** entry : findImports(module, name)) {
    if (*entry == real) storeImport(entry, ours);
  }
}

}  // namespace

void followChildren(HMODULE library) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      break;
    }
    path.resize(path.size() * 2);
  }
  ownModule = library;
  libraryPath = new std::wstring(std::move(path));  // never given back: children are started until the end
  realCreateProcessA = realFunction<decltype(&::CreateProcessA)>("CreateProcessA");
  realCreateProcessW = realFunction<decltype(&::CreateProcessW)>("CreateProcessW");
}

void watchChildrenOf(HMODULE module) {
  if (libraryPath == nullptr || module == ownModule) return;
  redirect(module, "CreateProcessA", reinterpret_cast<void*>(realCreateProcessA),
           reinterpret_cast<void*>(&createProcessA));
  redirect(module, "CreateProcessW", reinterpret_cast<void*>(realCreateProcessW),
           reinterpret_cast<void*>(&createProcessW));
}

}  // namespace sim
