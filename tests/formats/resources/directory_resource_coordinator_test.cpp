#include <gtest/gtest.h>

#include <filesystem>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "formats/directory_resource_coordinator.h"
#include "foundation/queues.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::LogCapture;
using marqen::test::TempDir;

namespace {

constexpr const char *kUUID = "abcdef01-2345-6789-abcd-ef0123456789";
const std::string kURI = std::string("marqen+uuid:///") + kUUID;

struct Outcome {
    std::filesystem::path file;
    std::string uri;
    std::optional<MarqenError> error;
    int calls = 0;
    bool inline_ = false;  // the completion ran before the call returned
    bool offMain = false;  // the completion ran off the main thread
};

// Calls the coordinator, then drains the main queue until the completion has run.
template <typename Call>
Outcome answer(Call call) {
    auto outcome = std::make_shared<Outcome>();
    auto returned = std::make_shared<bool>(false);
    call([outcome, returned](const std::filesystem::path &file, const std::string &answered,
                             const MarqenError *error) {
        *outcome = {file, answered, error ? std::optional(*error) : std::nullopt, outcome->calls + 1, !*returned,
                    !MainQueue::isMainThread()};
    });
    *returned = true;
    EXPECT_TRUE(MainQueue::shared().drainUntil([&] { return outcome->calls > 0; }, 10));
    MainQueue::shared().drain();
    EXPECT_FALSE(outcome->inline_);
    EXPECT_FALSE(outcome->offMain);
    return *outcome;
}

Outcome load(MarqenDirectoryResourceCoordinator &coordinator, const std::string &uri) {
    return answer([&](MarqenDOMDocumentResourceCoordinator::Completion completion) {
        coordinator.loadResourceWithURI(uri, std::move(completion));
    });
}

Outcome store(MarqenDirectoryResourceCoordinator &coordinator, const std::string &uri, const MarqenImageRef &image,
              unsigned long profile = 0) {
    return answer([&](MarqenDOMDocumentResourceCoordinator::Completion completion) {
        coordinator.storeResourceWithURI(uri, image, profile, MarqenJSON::object(), std::move(completion));
    });
}

MarqenImageRef tinyImage() {
    auto image = MarqenImage::create(3, 2);
    image->setPixelAt(0, 0, 0xFF102030);
    return image;
}

}  // namespace

TEST(MarqenDirectoryResourceCoordinator, FileNamesComeFromTheUUIDOnly) {
    EXPECT_EQ(MarqenDirectoryResourceCoordinator::fileNameForURI(kURI), kUUID);
    EXPECT_EQ(MarqenDirectoryResourceCoordinator::fileNameForURI("MARQEN+UUID:///ABCDEF01-2345-6789-ABCD-EF0123456789.PNG"),
              std::string(kUUID) + ".png");
    // Leading dots and slashes are trimmed as a bundle trims them: the name stays a plain file name.
    EXPECT_EQ(MarqenDirectoryResourceCoordinator::fileNameForURI(std::string("marqen+uuid:///../") + kUUID), kUUID);
    for (const char *bad : {"", "marqen+uuid:///", "file:///etc/passwd", "marqen+uuid:///x/../abcdef01-2345-6789-abcd-ef0123456789",
                            "marqen+uuid:///abcdef01-2345-6789-abcd-ef0123456789/../../x",
                            "marqen+uuid:////etc/abcdef01-2345-6789-abcd-ef0123456789", "marqen+uuid:///sub/abcdef01-2345-6789-abcd-ef0123456789",
                            "marqen+uuid:///abcdef01-2345-6789-abcd-ef012345678", "http://abcdef01-2345-6789-abcd-ef0123456789"})
        EXPECT_FALSE(MarqenDirectoryResourceCoordinator::fileNameForURI(bad)) << bad;
}

TEST(MarqenDirectoryResourceCoordinator, StoresAndLoadsBackByURI) {
    TempDir directory;
    auto coordinator = MarqenDirectoryResourceCoordinator::create(directory.path());
    ASSERT_NE(coordinator, nullptr);
    Outcome stored = store(*coordinator, kURI, tinyImage());
    EXPECT_EQ(stored.calls, 1);
    EXPECT_FALSE(stored.error);
    EXPECT_EQ(stored.file.filename(), kUUID);
    Outcome loaded = load(*coordinator, kURI);
    EXPECT_FALSE(loaded.error);
    EXPECT_EQ(loaded.file, stored.file);
    EXPECT_EQ(loaded.uri, kURI);
    auto image = MarqenImageDecodeFile(loaded.file);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->pixelAt(0, 0), 0xFF102030u);

    // A null image keeps what is stored; with nothing stored it is an error.
    EXPECT_FALSE(store(*coordinator, kURI, nullptr).error);
    Outcome empty = store(*coordinator, "marqen+uuid:///00000000-0000-4000-8000-000000000000", nullptr);
    ASSERT_TRUE(empty.error);
    EXPECT_EQ(empty.error->code, MarqenResourceErrorNoImage);

    EXPECT_EQ(MarqenDirectoryResourceCoordinator::create(directory / "missing"), nullptr);
}

TEST(MarqenDirectoryResourceCoordinator, AFileWithAnExtensionAnswersForItsUUID) {
    TempDir directory;
    ASSERT_TRUE(MarqenImageWriteToFile(*tinyImage(), directory / (std::string(kUUID) + ".png"), MarqenImageFormat::PNG));
    auto coordinator = MarqenDirectoryResourceCoordinator::create(directory.path());
    Outcome loaded = load(*coordinator, kURI);
    ASSERT_FALSE(loaded.error);
    EXPECT_EQ(loaded.file.filename(), std::string(kUUID) + ".png");
    // Storing again replaces that same file, so that loading finds the new pixels.
    auto other = MarqenImage::create(5, 5);
    Outcome stored = store(*coordinator, kURI, other);
    EXPECT_EQ(stored.file, loaded.file);
    EXPECT_EQ(MarqenImageDecodeFile(loaded.file)->width(), 5);
}

TEST(MarqenDirectoryResourceCoordinator, NothingOutsideTheDirectoryIsReadOrWritten) {
    TempDir outside;
    TempDir directory;
    auto coordinator = MarqenDirectoryResourceCoordinator::create(directory.path());
    LogCapture log;

    Outcome traversal = load(*coordinator, "marqen+uuid:///../../" + outside.path().filename().string() + "/" + kUUID);
    ASSERT_TRUE(traversal.error);
    EXPECT_EQ(traversal.error->code, MarqenResourceErrorInvalidURI);
    EXPECT_EQ(log.lines().back(), "Refused resource URI marqen+uuid:///../../" + outside.path().filename().string() +
                                      "/" + kUUID + ": not a resource UUID URI");
    Outcome absolute = store(*coordinator, "marqen+uuid:///" + (outside / kUUID).string(), tinyImage());
    ASSERT_TRUE(absolute.error);
    EXPECT_FALSE(std::filesystem::exists(outside / kUUID));

    // A symbolic link inside the directory that points out of it is refused both ways.
    test::writeFile(outside / "secret.png", "not yours");
    std::filesystem::create_symlink(outside / "secret.png", directory / kUUID);
    Outcome linked = load(*coordinator, kURI);
    ASSERT_TRUE(linked.error);
    EXPECT_EQ(linked.error->code, MarqenResourceErrorOutsideStorage);
    EXPECT_TRUE(log.contains("Refused resource URI " + kURI + ": its file resolves outside"));
    Outcome overwrite = store(*coordinator, kURI, tinyImage());
    ASSERT_TRUE(overwrite.error);
    EXPECT_EQ(test::readFile(outside / "secret.png"), "not yours");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(outside.path()), {}), 1);

    // A link that stays inside is followed.
    std::filesystem::remove(directory / kUUID);
    ASSERT_TRUE(MarqenImageWriteToFile(*tinyImage(), directory / "real.png", MarqenImageFormat::PNG));
    std::filesystem::create_symlink(directory / "real.png", directory / kUUID);
    EXPECT_FALSE(load(*coordinator, kURI).error);
}

TEST(MarqenDirectoryResourceCoordinator, AnswersInTheOrderAskedOnTheMainQueue) {
    TempDir directory;
    auto coordinator = MarqenDirectoryResourceCoordinator::create(directory.path());
    auto order = std::make_shared<std::vector<std::string>>();
    auto record = [order](const char *what) {
        return [order, what](const std::filesystem::path &, const std::string &, const MarqenError *error) {
            order->push_back(std::string(what) + (error ? " failed" : ""));
        };
    };
    // A store, a load of what it wrote, a second store over it: the file work runs one request at a time.
    coordinator->storeResourceWithURI(kURI, tinyImage(), 0, MarqenJSON::object(), record("store"));
    coordinator->loadResourceWithURI(kURI, record("load"));
    coordinator->storeResourceWithURI(kURI, MarqenImage::create(6, 6), 0, MarqenJSON::object(), record("store again"));
    EXPECT_TRUE(order->empty());  // nothing answers inline
    ASSERT_TRUE(MainQueue::shared().drainUntil([&] { return order->size() == 3; }, 10));
    EXPECT_EQ(*order, (std::vector<std::string>{"store", "load", "store again"}));
    EXPECT_EQ(MarqenImageDecodeFile(directory / kUUID)->width(), 6);

    // A coordinator that goes away finishes what it was asked first.
    coordinator->storeResourceWithURI("marqen+uuid:///00000000-0000-4000-8000-000000000009", tinyImage(), 0,
                                      MarqenJSON::object(), record("last"));
    coordinator.reset();
    EXPECT_TRUE(std::filesystem::exists(directory / "00000000-0000-4000-8000-000000000009"));
    MainQueue::shared().drain();
    EXPECT_EQ(order->back(), "last");
}

// Wraps the directory coordinator and, once it has answered, swaps a link to a file outside for the
// answered file, as another process could between the check and the read.
class SwappingCoordinator : public MarqenDOMDocumentResourceCoordinator {
public:
    SwappingCoordinator(std::shared_ptr<MarqenDirectoryResourceCoordinator> inner, std::filesystem::path outsideFile)
        : inner_(std::move(inner)), outsideFile_(std::move(outsideFile)) {}
    void loadResourceWithURI(const std::string &uri, Completion completion) override {
        inner_->loadResourceWithURI(uri, [outside = outsideFile_, completion](const std::filesystem::path &file,
                                                                              const std::string &answered,
                                                                              const MarqenError *error) {
            if (!error) {
                std::filesystem::create_symlink(outside, file.string() + ".swap");
                std::filesystem::rename(file.string() + ".swap", file);
            }
            completion(file, answered, error);
        });
    }
    void storeResourceWithURI(const std::string &uri, const MarqenImageRef &image, unsigned long profile,
                              const MarqenJSON &properties, Completion completion) override {
        inner_->storeResourceWithURI(uri, image, profile, properties, std::move(completion));
    }

private:
    std::shared_ptr<MarqenDirectoryResourceCoordinator> inner_;
    std::filesystem::path outsideFile_;
};

TEST(MarqenDirectoryResourceCoordinator, ALinkSwappedInAfterTheCheckIsNotFollowed) {
    TempDir outside, directory;
    auto secret = MarqenImage::create(2, 2);
    secret->setPixelAt(0, 0, 0xFF0000FF);
    ASSERT_TRUE(MarqenImageWriteToFile(*secret, outside / "secret.png", MarqenImageFormat::PNG));
    ASSERT_TRUE(MarqenImageWriteToFile(*tinyImage(), directory / kUUID, MarqenImageFormat::PNG));

    auto document = MarqenDOMDocument::createWithSize({10, 10}, 1);
    auto coordinator = std::make_shared<SwappingCoordinator>(MarqenDirectoryResourceCoordinator::create(directory.path()),
                                                             outside / "secret.png");
    document->setResourceCoordinator(coordinator);  // held weakly by the document
    auto bitmap = MarqenDOMBitmap::create();
    document->addNode(bitmap);
    LogCapture log;
    bitmap->setUri(kURI);
    document->waitForOperationsToFinish();
    EXPECT_TRUE(std::filesystem::is_symlink(directory / kUUID));  // the swap happened before the read
    EXPECT_EQ(bitmap->image(), nullptr);
    EXPECT_TRUE(log.contains("Cannot open")) << (log.lines().empty() ? "" : log.lines().back());
}
