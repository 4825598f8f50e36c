#pragma once
// A resource coordinator backed by a plain directory: each resource is one file named by the
// resource's lower-case UUID, as a bundle stores them. A file found under the UUID plus an extension
// ("<uuid>.png") answers too. URIs that do not name a UUID, and files that resolve outside the
// directory (through "..", absolute paths or symbolic links), are refused and logged.
//
// The file work runs on the coordinator's own serial queue, in the order asked for (two stores of one
// resource never overlap); completions come back through MainQueue.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "dom/resource_coordinator.h"

namespace marqen {

class SerialQueue;

class MarqenDirectoryResourceCoordinator : public MarqenDOMDocumentResourceCoordinator {
public:
    // Null (with *error) when directory is not an existing directory.
    static std::shared_ptr<MarqenDirectoryResourceCoordinator> create(const std::filesystem::path &directory,
                                                                     MarqenError *error = nullptr);

    const std::filesystem::path &directory() const { return directory_; }

    ~MarqenDirectoryResourceCoordinator() override;  // finishes the file work already asked for

    // Main thread; completions arrive on the main queue.
    void loadResourceWithURI(const std::string &uri, Completion completion) override;
    void storeResourceWithURI(const std::string &uri, const MarqenImageRef &image, unsigned long profile,
                              const MarqenJSON &imageProperties, Completion completion) override;

    // The file work itself, synchronous and safe on any thread (it reads only the directory's path).
    // The file that holds the resource, or none with *error.
    std::optional<std::filesystem::path> loadFile(const std::string &uri, MarqenError *error) const;
    // Writes image (null keeps what is stored) and returns the file, or none with *error.
    std::optional<std::filesystem::path> storeFile(const std::string &uri, const MarqenImage *image,
                                                   unsigned long profile, const MarqenJSON &imageProperties,
                                                   MarqenError *error) const;

    // The file name a resource URI stands for ("<lower-case uuid>" or with its extension); none for
    // anything that is not "marqen+uuid:///" and a UUID.
    static std::optional<std::string> fileNameForURI(const std::string &uri);
    // The file that holds the resource; with mustExist false, the file a store would write.
    std::optional<std::filesystem::path> fileForURI(const std::string &uri, bool mustExist, MarqenError *error) const;

private:
    explicit MarqenDirectoryResourceCoordinator(std::filesystem::path directory);
    bool isInside(const std::filesystem::path &file) const;
    void deliver(Completion completion, std::optional<std::filesystem::path> file, std::string uri,
                 std::optional<MarqenError> error);

    const std::filesystem::path directory_;  // canonical
    std::unique_ptr<SerialQueue> queue_;
};

}  // namespace marqen
