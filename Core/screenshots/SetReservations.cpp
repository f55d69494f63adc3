#include "Core/screenshots/SetReservations.h"

namespace quorvel {

SetReservations::SetReservations(const std::vector<ScreenshotPushItem>& items) {
    for (const ScreenshotPushItem& item : items)
        names_.insert(item.fileName());
}

SetReservations::Attempt::Attempt(SetReservations& all, const std::string& fileName, std::uint64_t size)
    : all_(all), file_(fileName, static_cast<std::int64_t>(size)) {
    const std::lock_guard lock(all_.mutex_);
    all_.underWay_.insert(file_);
}

SetReservations::Attempt::~Attempt() {
    const std::lock_guard lock(all_.mutex_);
    all_.underWay_.erase(all_.underWay_.find(file_));
}

void SetReservations::noteOwn(const std::string& id) {
    const std::lock_guard lock(mutex_);
    own_.insert(id);
}

void SetReservations::giveUp(const std::string& id) {
    const std::lock_guard lock(mutex_);
    own_.erase(id);
}

bool SetReservations::isLeftover(const StoreAsset& asset) const {
    const std::string name = asset.fileName.value_or("");
    const std::lock_guard lock(mutex_);
    return names_.contains(name) && !own_.contains(asset.id) &&
           !underWay_.contains({name, asset.fileSize.value_or(0)});
}

bool SetReservations::claim(const std::string& id) {
    const std::lock_guard lock(mutex_);
    return claimed_.insert(id).second;
}

void SetReservations::noteRemoved(const std::string& id) {
    const std::lock_guard lock(mutex_);
    removed_.insert(id);
}

bool SetReservations::wasRemoved(const std::string& id) const {
    const std::lock_guard lock(mutex_);
    return removed_.contains(id);
}

} // namespace quorvel
