#include "churn.h"

#include "records.h"

#include <deque>
#include <iterator>
#include <utility>

namespace fault_testing {

namespace {

constexpr std::size_t kSeeds = 6;
constexpr int kChangesBefore = 160, kChanges = 24;

enum class Style { Fixed, Nulls, Masked, Tails, RunTails, Keys };

struct Kind {
    const char *name;
    Style style;
    Shape shape;
    std::vector<KeyDesc> indexes;
    bool precious = false;
    bool logged = false;

    bool tails() const { return style == Style::Tails || style == Style::RunTails; }
};

// Its null byte is the blank: a record without text stays out.
KeyDesc nullKey() { return keyDesc(ISDUPS | ISNULLKEY, {{kTextAt, kWide, CHARTYPE + ' ' * 256}}); }

const std::vector<Kind> &kinds() {
    constexpr int kTogether = ISDUPS | ISDUPCOMP | kCompressed;
    static const KeyDesc key = keyDesc(ISNODUPS, {{0, 4, LONGTYPE}, {kTextAt, kWide}});
    static const std::vector<Kind> all = {
        {"fixed", Style::Fixed, fixedShape(identKey()), {textKey(), groupKey()}},
        {"compressed", Style::Fixed, fixedShape(identKey(kCompressed)), {textKey(kCompressed), groupKey(kTogether)}},
        {"nulls", Style::Nulls, fixedShape(identKey()), {nullKey(), groupKey()}},
        {"masked", Style::Masked, fixedShape(identKey(), ISMASK), {textKey(), groupKey()}},
        {"precious", Style::Fixed, fixedShape(identKey()), {textKey(), groupKey(kTogether)}, true},
        {"tails", Style::Tails, tailedShape(identKey()), {textKey()}},
        {"run_tails", Style::RunTails, tailedShape(identKey(), ISCOMPRESS), {textKey(kCompressed)}},
        {"keys", Style::Keys, {0, 0, ISINOUT, key}, {}},
        {"logged", Style::Fixed, fixedShape(identKey()), {textKey(), groupKey()}, false, true},
        {"logged_tails", Style::Tails, tailedShape(identKey()), {textKey()}, false, true},
    };
    return all;
}

class Random {
  public:
    explicit Random(std::size_t seed) : state_(seed * 2654435761U + 12345U) {}
    int below(int bound) {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return static_cast<int>((state_ >> 33U) % static_cast<unsigned>(bound));
    }

  private:
    std::uint64_t state_;
};

class Churn {
  public:
    Churn(World &world, std::size_t number, bool begins)
        : world_(world), kind_(kinds()[number / kSeeds]), random_(2 * number + (begins ? 0 : 1)),
          next_(begins ? 1 : 100000) {}

    void prepare() {
        fd_ = world_.build("file", kind_.shape);
        for (const KeyDesc &index : kind_.indexes)
            world_.addIndex(fd_, index);
        if (kind_.precious) world_.other("isprecious", [this] { return isprecious(fd_, 1); });
        // Grows, shrinks, and grows again: nodes and numbers are free.
        for (int i = 0; i < kChangesBefore; ++i)
            change(i < kChangesBefore / 2 ? 85 : i < 3 * kChangesBefore / 4 ? 15 : 50);
        world_.close(fd_);
    }

    void run() {
        if (kind_.logged) world_.openLog("log");
        fd_ = world_.open("file", kManual | ISVARAUTO | (kind_.logged ? ISTRANS : 0));
        for (int i = 0; i < kChanges; ++i) {
            if (kind_.logged) turn();
            change(50);
        }
        if (within_) world_.commit();
        world_.close(fd_);
        if (kind_.logged) world_.other("islogclose", islogclose);
    }

  private:
    // Behind a rollback the descriptor is not logged any more.
    void turn() {
        const int chance = random_.below(8);
        if (!within_ && chance < 4)
            within_ = world_.begin();
        else if (within_ && chance == 4)
            within_ = !world_.commit();
        else if (within_ && chance == 5) {
            within_ = !world_.rollback();
            world_.close(fd_);
            fd_ = world_.open("file", kManual | ISVARAUTO | ISTRANS);
        }
    }

    // One change; so many in a hundred add a record.
    void change(int adding) {
        const auto &records = world_.records("file");
        const int chance = random_.below(100);
        if (records.size() < 3 || chance < adding) {
            shade();
            isrecnum = next_;
            world_.write(fd_, image(next_++));
            return;
        }
        const auto chosen = std::next(records.begin(), random_.below(static_cast<int>(records.size())));
        const std::int32_t ident = chosen->first;
        if (kind_.style == Style::Keys) {
            std::string found = chosen->second.image;
            const std::string same = found;
            if (world_.read(fd_, &found, ISEQUAL)) world_.eraseCurrent(fd_, same);
        } else if (chance % 2 == 0) {
            shade();
            world_.rewrite(fd_, image(ident));
        } else {
            world_.erase(fd_, chosen->second.image);
        }
    }

    void shade() {
        if (kind_.style == Style::Masked) world_.mask(fd_, static_cast<std::uint32_t>(random_.below(4)) << 1U);
    }

    // Texts are spread and come once.
    std::string image(std::int32_t ident) {
        const int number = (next_ * 100 + changes_++) % 100000 * 7919 % 99991;
        std::string out = record(ident, number);
        switch (kind_.style) {
        case Style::Nulls:
            if (random_.below(3) == 0) out.replace(kTextAt, kWide, kWide, ' ');
            return out;
        case Style::Keys: return out.substr(0, kGroupAt);
        case Style::Tails: return out.substr(0, kFixedPart) + tailed(ident, tailLength()).substr(kFixedPart);
        case Style::RunTails:
            return out.substr(0, kFixedPart) + tailed(ident, tailLength() / 50 * 50, true).substr(kFixedPart);
        default: return out;
        }
    }

    std::size_t tailLength() {
        const int chance = random_.below(10);
        return static_cast<std::size_t>(chance == 0 ? 0 : chance < 7 ? random_.below(600) : random_.below(3500));
    }

    World &world_;
    const Kind &kind_;
    Random random_;
    int fd_ = -1;
    int next_;
    int changes_ = 0;
    bool within_ = false;
};

template <std::size_t Number> void prepareChurn(World &world) { Churn(world, Number, true).prepare(); }
template <std::size_t Number> void runChurn(World &world) { Churn(world, Number, false).run(); }

const char *nameOf(std::size_t number) {
    static std::deque<std::string> names;
    names.push_back(std::string("churn_") + kinds()[number / kSeeds].name + "_" + std::to_string(number % kSeeds + 1));
    return names.back().c_str();
}

template <std::size_t... Numbers> std::vector<Scenario> make(std::index_sequence<Numbers...>) {
    return {{nameOf(Numbers), prepareChurn<Numbers>, runChurn<Numbers>,
             kinds()[Numbers / kSeeds].logged ? "log" : nullptr}...};
}

constexpr std::size_t kKinds = 10;

}  // namespace

const std::vector<Scenario> &churnScenarios() {
    static const std::vector<Scenario> all = make(std::make_index_sequence<kKinds * kSeeds>());
    return all;
}

}  // namespace fault_testing
