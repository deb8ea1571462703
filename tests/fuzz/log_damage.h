// Damage to the transaction log.
#ifndef TESTS_FUZZ_LOG_DAMAGE_H
#define TESTS_FUZZ_LOG_DAMAGE_H

#include "damage.h"

namespace fuzz {

void damageLog(DamageCode code, const Operation &operation);

}  // namespace fuzz

#endif
