#include "base/user_text.h"

#include <map>
#include <pwd.h>

namespace tool {

std::string userName(unsigned user) {
    static std::map<unsigned, std::string> known;
    const auto [place, fresh] = known.try_emplace(user);
    if (fresh) {
        const passwd *entry = getpwuid(user);
        place->second = entry != nullptr ? entry->pw_name : std::to_string(user);
    }
    return place->second;
}

}  // namespace tool
