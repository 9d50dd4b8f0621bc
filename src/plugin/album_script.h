#pragma once
// The plug-in's one script: run at the start of every game (a start script),
// it gives the player the albums once. A global variable, not a variable of
// the script, remembers that it has: the game restarts start scripts when a
// saved game is loaded, and a global is saved with the game whatever becomes
// of the script. So the albums arrive in a new game and in a running one to
// which the plug-in has just been added, and never twice.
#include <string>
#include <string_view>
#include <vector>

namespace glintbook::plugin {

struct Script {
    std::string source;    // what the open engine compiles itself
    std::string bytecode;  // what the original engine runs
};

//   begin <id>
//   if ( <guard> == 0 )
//       player->AddItem "<item>" 1      (for each item)
//       set <guard> to 1
//   endif
//   end
Script GiveOnceScript(std::string_view id, std::string_view guard, const std::vector<std::string>& items);

}  // namespace glintbook::plugin
