// Recovery in tests: work with a log, go back to the files as they were, do it all again.
#ifndef TESTS_API_RECOVERY_H
#define TESTS_API_RECOVERY_H

#include "logs.h"

#include <map>
#include <string>

namespace api {

class RecoveryTest : public LogTest {
  protected:
    // Keeps the files of the directory as they are now; the log is begun anew.
    void keepFiles();
    // Ends all work, puts the kept files back and the log beside them, and recovers.
    int recover();
    // The same, and every file must come out as the work had left it.
    void expectSameAfterRecovery();

    // A log put together by hand, beside the files as they are.
    int recoverFrom(const LogWriter &made);

  private:
    std::map<std::string, std::string> files() const;
    std::map<std::string, std::string> kept_;
};

}  // namespace api

#endif
