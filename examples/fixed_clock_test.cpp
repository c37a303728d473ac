// How do I test what my program logs? With a clock and a thread id that the test sets, and an
// appender that keeps the lines: then whole lines can be compared.

#include <iostream>
#include <string>

#include <boost/make_shared.hpp>

#include <tarqlog/tarqlog.h>

// What is tested: an account that logs.

class Account {
public:
    void Withdraw(int amount) {
        if (amount > balance_) {
            Log(tarqlog::kWarning, "refused: ", amount);
            return;
        }
        balance_ -= amount;
        Log(tarqlog::kInfo, "withdrawn: ", amount);
    }

private:
    void Log(tarqlog::Severity severity, char const* text, int amount) {
        if (logger_.HasSink(severity)) {
            tarqlog::LogRecord record(severity);
            tarqlog::LogRecordStreamBuf buffer(record);
            tarqlog::LogStream(&buffer) << text << amount;
            logger_.PushRecord(record);
        }
    }

    tarqlog::Logger logger_{"bank.account"};
    int balance_ = 100;
};

// The test.

/// Keeps each line as the console would show it.
class KeptLines : public tarqlog::AppenderBase {
public:
    KeptLines() : AppenderBase(true) {}

    std::string Text() const {
        tarqlog::threads::ScopedLock<tarqlog::threads::ThreadMutex> const lock(Mutex());
        return text_;
    }

protected:
    void DoAppend(tarqlog::LogRecord const& record) override {
        text_ += Header() + record.GetData().data() + '\n';  // the text ends with a NUL
    }

private:
    std::string text_;  // guarded by Mutex()
};

long long now = 1700000000123;  // 2023-11-14 22:13:20.123 UTC

int main() {
    // Plain functions, for the whole process, and set before any other thread logs. Each call
    // returns the function that was there before, for a test that has to put it back.
    tarqlog::LogSysInfo::SetGetTimeFunc([] { return now; });
    tarqlog::LogSysInfo::SetGetThreadIdFunc([] { return 7U; });

    auto const lines = boost::make_shared<KeptLines>();
    auto const sink = boost::make_shared<tarqlog::LogSink>();
    sink->AddAppender(lines);
    tarqlog::LogCore::Get()->AddSink({tarqlog::FilterRule("bank", tarqlog::kAllSeverities)}, sink);

    Account account;
    account.Withdraw(70);
    now += 1500;
    account.Withdraw(70);

    std::string const expected =
        "I [2023-11-14 22:13:20.123][t:7](bank.account):withdrawn: 70\n"
        "W [2023-11-14 22:13:21.623][t:7](bank.account):refused: 70\n";
    if (lines->Text() != expected) {
        std::cerr << "FAILED: logged\n" << lines->Text() << "instead of\n" << expected;
        return 1;
    }
    std::cout << "passed\n";
}
