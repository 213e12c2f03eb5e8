// Block devices of the test's own: images in memory on loop devices.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace road {

// A loop device over an image of `size` bytes, all zero. It is detached with the object, or with the test program,
// however that ends; what is mounted of it is unmounted before.
class Disk {
  public:
    static constexpr uint64_t kSmall = 64ULL << 20;
    static constexpr uint64_t kForXfs = 320ULL << 20;  // xfs takes no less than 300 MiB; images are sparse

    Disk(const std::string& name, uint64_t size);
    // The content of another one, as a snapshot has it: that one must be unmounted, frozen or read-only.
    Disk(const std::string& name, const Disk& origin);
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;
    ~Disk();

    const std::string& device() const { return device_; }
    const std::string& image() const { return image_; }

    // Makes a file system on it, beside the product. extra: options for the maker.
    void make(const std::string& type, const std::string& extra = {}) const;
    // Mounts it, beside the product; the directory is made. options: as mount(8) takes them.
    void mountAt(const std::string& point, const std::string& options = "rw") const;
    // Remembers every byte of the device; not while it is mounted. Is each of them still the same?
    void remember() const;
    bool isAsRemembered() const;
    // Where it is mounted.
    std::vector<std::string> points() const;

  private:
    void attach();
    std::string remembered() const { return image_ + ".remembered"; }

    std::string image_;
    std::string device_;
    int keeper_ = -1;  // holds the device
};

// Room enough for this type.
inline uint64_t sizeFor(const std::string& type) {
    return type == "xfs" ? Disk::kForXfs : Disk::kSmall;
}

// Loop devices whose image bears this in its name.
std::vector<std::string> loopDevicesOver(const std::string& name);

// Detaches the loop devices of killed runs. They have them only where a file system was frozen.
void clearWhatKilledRunsLeft();

}  // namespace road
