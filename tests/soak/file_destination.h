#ifndef TARQLOG_TESTS_SOAK_FILE_DESTINATION_H_
#define TARQLOG_TESTS_SOAK_FILE_DESTINATION_H_

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <list>
#include <string>
#include <system_error>

#include <boost/make_shared.hpp>
#include <boost/ref.hpp>

#include "tarqlog/file.h"
#include "tarqlog/file_appender.h"
#include "tarqlog/logrecord.h"
#include "tarqlog/scoped_lock.h"

#include "soak/destination.h"
#include "soak/plant.h"

namespace tarqlog::soak {

/// The names of one appender's files. No file is lost: what loses its name gets another one first,
/// "held." and a number.
class Holder {
public:
    explicit Holder(std::string const& directory) : directory_(directory) {}

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

/// A file appender that holds the file which it is about to lose at the size limit, meets with
/// trouble, and does what is planted at every hundredth record.
template <class Base>
class HoldingAppender : public Base {
public:
    template <class... Arguments>
    HoldingAppender(Holder& holder, Trouble* trouble, std::atomic<long>& fullFiles, int keptFiles,
                    Plant plant, Arguments... arguments)
        : Base(holder.Path(0), arguments...),
          holder_(holder),
          trouble_(trouble),
          fullFiles_(fullFiles),
          lost_(holder.Path(keptFiles)),
          plant_(plant) {}

protected:
    void OnFileLimitSizeExceed() override {
        ++fullFiles_;
        holder_.Hold(lost_);
        Base::OnFileLimitSizeExceed();
    }

    void DoAppend(LogRecord const& record) override {
        bool const strikes = ++records_ % 100 == 0;
        if (strikes && (plant_ == Plant::kDroppedLine || plant_ == Plant::kUnadmittedLoss)) {
            return;
        }
        {
            TroubleInForce const inForce(trouble_);
            Base::DoAppend(record);
        }
        if (strikes) {
            DoHarm(record);
        }
    }

private:
    void DoHarm(LogRecord const& record) {
        if (plant_ == Plant::kDoubledLine) {
            Base::DoAppend(record);
        } else if (plant_ == Plant::kTornLine) {
            std::ofstream(holder_.Path(0), std::ios::app) << "I [2026-11-\n";
        } else if (plant_ == Plant::kLeakedDescriptor) {
            ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        } else if (plant_ == Plant::kGrowingMemory) {
            hoard_.emplace_back().reserve(2 << 20);  // enough, should few lines come this way
        }
    }

    Holder& holder_;
    Trouble* const trouble_;  // may be null
    std::atomic<long>& fullFiles_;
    std::string const lost_;  // replaced or deleted at the limit
    Plant const plant_;
    long records_ = 0;
    std::list<std::string> hoard_;
};

/// A FileAppender's files, which others rename and delete.
class FileDestination : public Destination {
public:
    FileDestination(std::string const& directory, unsigned int writers)
        : Destination(directory, writers), holder_(directory) {
        Troubles().SetKeeper([this](std::string const& path) { holder_.Hold(path); });
    }

    /// Makes the appender, a `Base` that keeps so many full files. `arguments` are those of its
    /// constructor behind the file's name.
    template <class Base, class... Arguments>
    void Open(int keptFiles, bool hasTrouble, Plant plant, Arguments... arguments) {
        keptFiles_ = keptFiles;
        file_ = boost::make_shared<HoldingAppender<Base>>(
            boost::ref(holder_), hasTrouble ? &Troubles() : nullptr, boost::ref(fullFiles_),
            keptFiles, plant, arguments...);
        Deliver(file_);
    }

    bool Move(std::minstd_rand& random) override {
        auto const files = static_cast<unsigned long>(keptFiles_) + 1;
        std::string const path = holder_.Path(static_cast<int>(random() % 10 % files));
        return random() % 2 == 0 ? holder_.Rename(path) : Delete(path);
    }

    void Settle() override { file_->Close(); }

    void Destroy() override {
        Destination::Destroy();
        file_.reset();
    }

    long FullFiles() const override { return fullFiles_; }

protected:
    /// Sees to it that the writers' lines reach `file`.
    virtual void Deliver(boost::shared_ptr<FileAppender> const& file) { Route(file); }

private:
    /// Between two records, since holding a file and deleting it are two steps.
    bool Delete(std::string const& path) {
        threads::ScopedLock const lock(file_->Mutex());
        return holder_.Hold(path) && log_utils::Remove(path);
    }

    Holder holder_;
    int keptFiles_ = 0;
    std::atomic<long> fullFiles_{0};
    boost::shared_ptr<FileAppender> file_;
};

}  // namespace tarqlog::soak

#endif  // TARQLOG_TESTS_SOAK_FILE_DESTINATION_H_
