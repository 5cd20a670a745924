#include "platform/foundation/Files.h"
#include "programs/bundles/Archive.h"
#include "programs/bundles/Bringing.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <zip.h>

#include <filesystem>

namespace vitrel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre, testing::IsEmpty, testing::SizeIs;

struct Member {
    std::string name, content;
    unsigned mode = S_IFREG | 0644;
    bool encrypted = false;
};

// By the library's writer, which takes any name.
Bytes zipOf(const std::vector<Member>& members)
{
    const TemporaryFolder folder;
    const std::string path = folder / "a.zip";
    zip_t* archive = zip_open(path.c_str(), ZIP_CREATE, nullptr);
    for (const Member& member : members) {
        zip_source_t* source = zip_source_buffer(archive, member.content.data(), member.content.size(), 0);
        const auto index
            = static_cast<zip_uint64_t>(zip_file_add(archive, member.name.c_str(), source, ZIP_FL_ENC_UTF_8));
        zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, member.mode << 16);
        if (member.encrypted)
            zip_file_set_encryption(archive, index, ZIP_EM_AES_256, "secret");
    }
    zip_close(archive);
    return *readFile(path, 1u << 30);
}

std::string taken(const Bytes& archive, const ArchiveLimits& limits = {})
{
    std::string all;
    const std::string reason = readArchive(
        archive,
        [&](const std::string& path, ByteView content) {
            all += path + "=" + std::string(textOf(content)) + " ";
            return true;
        },
        limits);
    return reason.empty() ? all : reason;
}

// A stranger's archive writes where it likes, or fills the disk.
TEST(Archive, HandsOverFilesAndRefusesWhatLeadsOutOrIsTooMuch)
{
    EXPECT_EQ(taken(zipOf({{"A b.qtz", "1"}, {"p/\xC3\xA4.png", "22"}, {".DS_Store", "x"}, {"__MACOSX/._A", "x"},
                  {"p/.x/y", "z"}})),
        "A b.qtz=1 p/\xC3\xA4.png=22 ");
    const std::string elsewhere = "a name in it leads elsewhere", odd = "it holds a link, or what is no file";
    for (const char* name : {"/etc/x", "../x", "a/../../x", "a/./x", "a//x", "..\\x", "a\nb", "1/2/3/4/5/6/7/8/9"})
        EXPECT_EQ(taken(zipOf({{"fine.qtz", ""}, {name, "x"}})), elsewhere) << name;
    EXPECT_EQ(taken(zipOf({{std::string(201, 'x'), "x"}})), elsewhere);
    EXPECT_EQ(taken(zipOf({{"link", "/etc/passwd", S_IFLNK | 0777}})), odd);
    EXPECT_EQ(taken(zipOf({{"pipe", "", S_IFIFO | 0777}})), odd);
    EXPECT_EQ(taken(zipOf({{"a", "x", S_IFREG, true}})), "it is encrypted");
    EXPECT_EQ(taken({}), "it is no ZIP archive");
    const std::string zeros(5u << 20, '\0');
    EXPECT_EQ(taken(zipOf({{"a", zeros}})), "what it holds is too large for what it is");
    EXPECT_EQ(taken(zipOf({{"a", "12345678"}}), {.file = 7}), "what it holds is too large");
    EXPECT_EQ(taken(zipOf({{"a", "1234"}, {"b", "1234"}}), {.all = 7}), "what it holds is too large");
    EXPECT_EQ(taken(zipOf({{"a", "1"}, {"b", "1"}}), {.files = 1}), "it holds too many files");
    const Bytes small = zipOf({{"a", "1"}});
    EXPECT_EQ(taken(small, {.archive = small.size() - 1}), "it is too large");
}

// Cut anywhere, and with any byte changed, it is taken or refused and nothing else.
TEST(Archive, SurvivesDamageAnywhere)
{
    const Bytes whole = zipOf({{"a.qtz", std::string(300, 'x')}, {"b/c.png", "picture"}});
    for (std::size_t at = 0; at < whole.size(); ++at) {
        Bytes damaged(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at));
        EXPECT_THAT(taken(damaged), testing::Not(testing::HasSubstr(".."))) << at;
        for (const int change : {1, 0x80, 0xFF}) {
            damaged = whole;
            damaged[at] = static_cast<std::uint8_t>(damaged[at] ^ change);
            taken(damaged);
        }
    }
}

TEST(Bringing, FindsAFoldersCompositionsByNameAndFollowsNoLink)
{
    const TemporaryFolder folder;
    const std::string text = R"({"patches": {}})";
    for (const char* name : {"z/B.qtz", "z/y/a.QTZ", "C.qtz", ".hidden/no.qtz", ".no.qtz", "1/2/3/4/5/6/7/8/deep.qtz",
             "1/2/3/4/5/6/7/8/9/too deep.qtz", "read.me", "x.json/in.qtz"})
        folder.write(name, "");
    const auto json = folder.write("d.json", text);
    folder.write("no.json", "{}");
    fs::create_symlink(folder.path(), folder / "z/again");
    fs::create_symlink(folder / "C.qtz", folder / "link.qtz");
    const auto brought = bring({folder.path() + "/", folder / "C.qtz"}, "");
    EXPECT_THAT(brought.compositions,
        ElementsAre(folder / "z/y/a.QTZ", folder / "z/B.qtz", folder / "C.qtz", json,
            folder / "1/2/3/4/5/6/7/8/deep.qtz", folder / "x.json/in.qtz"));
    EXPECT_THAT(brought.problems, IsEmpty());
    const auto none
        = bring({folder / ".hidden/", folder / "gone", folder / "read.me", folder / "1/2/3/4/5/6/7/8/9/"}, "");
    EXPECT_THAT(none.compositions, SizeIs(2)) << "what is named is looked into";
    EXPECT_THAT(none.problems, SizeIs(2));
    EXPECT_EQ(broughtOfText(textOf(brought)), brought);
    EXPECT_EQ(broughtOfText(textOf(none)), none);
    for (const std::string& odd :
        {std::string(), std::string("+rel\0", 5), std::string("!x\0+", 4), std::string(3, '\0')})
        EXPECT_EQ(broughtOfText(odd), Brought()) << odd;

    const TemporaryFolder many;
    for (int k = 0; k < 10'050; ++k)
        many.write(std::to_string(k) + ".qtz", "");
    EXPECT_THAT(bring({many.path()}, "").compositions, SizeIs(10'000));
}

// A composition without its pictures, the same archive twice in the list, or another one of its name written over.
TEST(Bringing, UnpacksAnArchiveOnceIntoAFolderOfItsOwn)
{
    const TemporaryFolder folder, data;
    const auto archive = [&](const char* name, const std::vector<Member>& members) {
        return folder.write(name, std::string(textOf(zipOf(members))));
    };
    const std::string one = archive("Dawn.zip", {{"Dawn/Dawn.qtz", "q"}, {"Dawn/pictures/a.png", "p"}});
    const std::string into = data / "sub/compositions";
    EXPECT_THAT(bring({one}, into).compositions, ElementsAre(into + "/Dawn/Dawn/Dawn.qtz"));
    EXPECT_EQ(TemporaryFolder::read(into + "/Dawn/Dawn/pictures/a.png"), "p");
    EXPECT_THAT(bring({one}, into).compositions, ElementsAre(into + "/Dawn/Dawn/Dawn.qtz")) << "again";
    const std::string other = archive("x/Dawn.ZIP", {{"b.qtz", ""}, {"a.qtz", ""}});
    EXPECT_THAT(bring({other}, into).compositions, ElementsAre(into + "/Dawn-2/a.qtz", into + "/Dawn-2/b.qtz"));
    for (const auto& [bad, reason] :
        {std::pair(archive("Bad.zip", {{"a.qtz", ""}, {"../b", ""}}), "a name in it leads elsewhere"),
            {archive("Two.zip", {{"a.qtz", ""}, {"a.qtz/b", ""}}), "can't write"},
            {archive("None.zip", {{"a.png", ""}}), kNoComposition},
            {folder.write("No.zip", "PK"), "it is no ZIP archive"}}) {
        const auto brought = bring({bad}, into);
        EXPECT_THAT(brought.compositions, IsEmpty());
        EXPECT_THAT(brought.problems, ElementsAre(Brought::Problem{bad, reason}));
    }
    std::size_t left = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(into))
        ++left;
    EXPECT_EQ(left, 2u) << "nothing half";
    EXPECT_TRUE(takesTimeToBring(one));
    EXPECT_TRUE(takesTimeToBring(folder.path()));
    EXPECT_FALSE(takesTimeToBring(into + "/Dawn/Dawn/Dawn.qtz"));
}

} // namespace
} // namespace vitrel
