// The same as ../c/planets.c does, in C++, and with the maintenance header.
#include <isam_maint.h>

#include <array>
#include <iostream>
#include <string>

namespace {

constexpr int kName = 4, kLength = 24;
using Record = std::array<char, kLength>;

void print(const Record &record) {
    std::array<char, kLength - kName + 1> name{};
    ldchar(record.data() + kName, kLength - kName, name.data());
    std::cout << ldlong(record.data()) << ' ' << name.data() << '\n';
}

}  // namespace

int main() {
    KeyDesc key{};
    key.nparts = 1;
    key.parts[0] = {0, kName, LONGTYPE};
    const int fd = isbuild("planets", kLength, &key, ISINOUT);
    if (fd < 0) return 1;
    Record record;
    const std::array<std::string, 5> names = {"", "Mercury", "", "Earth", "Mars"};
    for (const long number : {4, 1, 3}) {
        stlong(number, record.data());
        stchar(names[static_cast<std::size_t>(number)].c_str(), record.data() + kName, kLength - kName);
        if (iswrite(fd, record.data()) != 0) return 2;
    }
    for (int mode = ISFIRST; isread(fd, record.data(), mode) == 0; mode = ISNEXT)
        print(record);
    stlong(3, record.data());
    if (iserrno != ISERR_ENDOFFILE || isread(fd, record.data(), ISEQUAL) != 0) return 3;
    print(record);
    return isErrno(isAdmItoD(fd)) == 0 && ischeckindex(fd, 1) == 0 && isclose(fd) == 0 ? 0 : 4;
}
