#ifndef TARQLOG_TESTS_SOAK_DESTINATION_H_
#define TARQLOG_TESTS_SOAK_DESTINATION_H_

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/ref.hpp>
#include <boost/shared_ptr.hpp>

#include "tarqlog/file.h"
#include "tarqlog/file_appender.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/logsink.h"
#include "tarqlog/scoped_lock.h"

namespace tarqlog::soak {

/// What a run does wrong on purpose, to show that it would be noticed.
enum class Fault { kNone, kDroppedLine, kDoubledLine, kLeakedDescriptor, kGrowingMemory };

/// A directory of one appender's own. No file in it is lost: what loses its name gets another one
/// first, "held." and a number.
class Holder {
public:
    explicit Holder(std::string const& directory) : directory_(directory) {}

    std::string const& Directory() const { return directory_; }

    /// The live file for 0, otherwise the numbered one.
    std::string Path(int number) const {
        return directory_ + "/log" + (number == 0 ? "" : '.' + std::to_string(number));
    }

    /// The file goes on under another name, in one step. False when there is none.
    bool Rename(std::string const& path) {
        return WasThere(std::rename(path.c_str(), NextName().c_str()));
    }

    /// The file has another name as well; the caller deletes or replaces this one, and sees to it
    /// that no other file gets it meanwhile. False when there is none.
    bool Hold(std::string const& path) {
        return WasThere(::link(path.c_str(), NextName().c_str()));
    }

private:
    std::string NextName() { return directory_ + "/held." + std::to_string(++names_); }

    static bool WasThere(int result) {
        if (result != 0 && errno != ENOENT) {
            throw std::system_error(errno, std::generic_category(), "cannot hold a log file");
        }
        return result == 0;
    }

    std::string const directory_;
    std::atomic<long> names_{0};
};

/// A file appender that holds the file which it is about to lose at the size limit, and makes the
/// fault at every hundredth record.
template <class Base>
class HoldingAppender : public Base {
public:
    template <class... Arguments>
    HoldingAppender(Holder& holder, std::atomic<long>& fullFiles, int keptFiles, Fault fault,
                    Arguments... arguments)
        : Base(holder.Path(0), arguments...),
          holder_(holder),
          fullFiles_(fullFiles),
          lost_(holder.Path(keptFiles)),
          fault_(fault) {}

protected:
    void OnFileLimitSizeExceed() override {
        ++fullFiles_;
        holder_.Hold(lost_);
        Base::OnFileLimitSizeExceed();
    }

    void DoAppend(LogRecord const& record) override {
        bool const strikes = ++records_ % 100 == 0;
        if (strikes && fault_ == Fault::kDroppedLine) {
            return;
        }
        Base::DoAppend(record);
        if (strikes && fault_ == Fault::kDoubledLine) {
            Base::DoAppend(record);
        }
        if (strikes && fault_ == Fault::kLeakedDescriptor) {
            leaked_.Open("/dev/null", log_utils::File::kRead);
        }
        if (strikes && fault_ == Fault::kGrowingMemory) {
            hoard_.append(100000, 'x');
        }
    }

private:
    Holder& holder_;
    std::atomic<long>& fullFiles_;
    std::string const lost_;  // replaced or deleted at the limit
    Fault const fault_;
    long records_ = 0;
    log_utils::File leaked_;
    std::string hoard_;
};

/// A file appender with its sink and its directory.
class Destination {
public:
    /// @param directory  does not exist yet
    explicit Destination(std::string const& directory) : holder_(directory) {
        log_utils::MakeDirectory(directory);
    }

    /// Makes the appender, a `Base` that keeps so many full files. `arguments` are those of its
    /// constructor behind the file's name.
    template <class Base, class... Arguments>
    void Open(int keptFiles, Fault fault, Arguments... arguments) {
        keptFiles_ = keptFiles;
        appender_ = boost::make_shared<HoldingAppender<Base>>(
            boost::ref(holder_), boost::ref(fullFiles_), keptFiles, fault, arguments...);
        sink_ = boost::make_shared<LogSink>();
        sink_->AddAppender(appender_);
    }

    std::string const& Directory() const { return holder_.Directory(); }
    int KeptFiles() const { return keptFiles_; }
    long FullFiles() const { return fullFiles_; }
    boost::shared_ptr<LogSink> const& Sink() const { return sink_; }

    /// At any moment, even while the appender renames the same files. False when there is no file
    /// of this number.
    bool RenameFromOutside(int number) { return holder_.Rename(holder_.Path(number)); }

    /// Between two records, since holding a file and deleting it are two steps. False when there is
    /// no file of this number.
    bool DeleteFromOutside(int number) {
        threads::ScopedLock const lock(appender_->Mutex());
        std::string const path = holder_.Path(number);
        return holder_.Hold(path) && log_utils::Remove(path);
    }

    /// Has the appender write everything out.
    void Close() { appender_->Close(); }

    /// The same, once the core has released the sink: the appender is gone afterwards.
    void Destroy() {
        sink_.reset();
        appender_.reset();
    }

    /// Deletes the files.
    void Clear() const {
        for (auto const& entry : std::filesystem::directory_iterator(Directory())) {
            std::filesystem::remove(entry);
        }
    }

private:
    Holder holder_;
    int keptFiles_ = 0;
    std::atomic<long> fullFiles_{0};
    boost::shared_ptr<FileAppender> appender_;
    boost::shared_ptr<LogSink> sink_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_DESTINATION_H_
