/// Lua, with its own compiler and virtual machine, in the same process.
#include <memory>
#include <stdexcept>

#include <lua.hpp>

#include "bench/languages.h"

namespace bench {

namespace {

/// A state of its own, with the function that was compiled on its stack.
class LuaFunction {
 public:
  LuaFunction(const std::string& setUp, const std::string& body) : state_(luaL_newstate()) {
    luaL_openlibs(state_.get());
    const std::string source = setUp + "\nreturn function()\n" + body + "\nend";
    check(luaL_loadstring(state_.get(), source.c_str()));
    check(lua_pcall(state_.get(), 0, 1, 0));
  }
  void call() {
    lua_pushvalue(state_.get(), -1);
    check(lua_pcall(state_.get(), 0, 0, 0));
  }

 private:
  struct Close {
    void operator()(lua_State* state) const { lua_close(state); }
  };
  void check(int status) {
    if (status != LUA_OK) throw std::runtime_error(lua_tostring(state_.get(), -1));
  }
  std::unique_ptr<lua_State, Close> state_;
};

}  // namespace

Prepare byLua(const std::string& setUp, const std::string& body) {
  return [=](std::size_t count) -> Work {
    auto function = std::make_shared<LuaFunction>("local n = " + std::to_string(count) + "\n" + setUp, body);
    return [=] { function->call(); };
  };
}

}  // namespace bench
