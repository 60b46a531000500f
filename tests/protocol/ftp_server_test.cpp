#include <ombrel/file.h>
#include <ombrel/ftp_server.h>

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "protocol/ftp_server_dialogue.h"

using namespace ombrel_test;

namespace {

class FtpServer : public ftp_server_dialogue {};

struct dialogue {
    std::string said;     ///< lines end in LF, which the server takes as well
    const char* expected; ///< the codes behind the greeting's
};

TEST_F(FtpServer, TellsWhereItListens) {
    open();
    char* const url = ombrel_alloc_ftp_server_url(server_, 0);
    EXPECT_EQ("ftp://127.0.0.1:" + std::to_string(port_) + "/", url);
    ombrel_free(url);
    EXPECT_EQ(nullptr, ombrel_alloc_ftp_server_url(server_, 1));
}

TEST_F(FtpServer, AnswersWhoIsNotLoggedIn) {
    options_.m_login_attempts = 3;
    open();
    const std::string nul(1, '\0');
    const dialogue all[] = {
        {"", ""},
        {"QUIT\nNOOP\n", "221"},
        {"NOO", ""},
        {"user ann\nPaSs pw\npwd\nREIN\nPWD\n", "331 230 257 220 530"},
        {"USER ann\nPASS t0psecret\nPASS pw\n", "331 530 503"},
        {"USER nobody\nPASS pw\nUSER ann\nPASS \nUSER \nPASS\nUSER ann\nPASS pw\nPWD\n",
         "331 530 331 530 501 503 331 230 257"},
        {"USER ann\nPASS 1\nUSER ann\nPASS 2\nUSER ann\nPASS 3\nUSER ann\nPASS pw\n",
         "331 530 331 530 331 421"},
        {"USER anonymous\nPASS\nUSER ftp\nPASS x@y\nPASS x\n", "331 230 331 230 503"},
        {"USER ann\nUSER eve\nPASS pw\nMKD x\n", "331 331 230 550"},
        {"USER " + std::string(300, 'n') + "\nPASS pw\nUSER ann\nPASS " + std::string(2000, 'p') + "\n",
         "331 530 331 530"},
        {"CWD /\nLIST\nRETR a\nSTOR a\nPASV\nPORT 127,0,0,1,9,9\nRNTO x\nSITE HELP\nABOR\nSTAT\nREST 1\n",
         "530 530 530 530 530 530 530 530 530 530 530"},
        {"SYST\nFEAT\nHELP\nOPTS UTF8 ON\nACCT x\nNOOP\n", "215 211 214 200 202 200"},
        {"AUTH TLS\nPBSZ 0\nPROT P\nCCC\n", "502 502 502 502"},
        {"\n\r\n \nFOO\nUSERann\n\xff\xf4\xff\xf2NOOP\n", "500 500 500 500 500 200"},
        {"USER a" + nul + "nn\nUSER a\rn\nUSER \x1b[2J\nNOOP\n", "501 501 501 200"},
        {std::string(5000, 'x') + "\nNOOP\n" + std::string(100000, 'y') + "\nNOOP\n", "500 200 500 200"},
    };
    for (const dialogue& one : all) {
        const std::string codes = talk(one.said);
        EXPECT_EQ(std::string("220") + (one.expected[0] != '\0' ? " " : "") + one.expected, codes)
            << one.said;
        EXPECT_TRUE(turn_until_gone());
    }
    EXPECT_EQ(std::string::npos, log_.find("t0p")) << log_;    // a password
    EXPECT_EQ(std::string::npos, log_.find("nobody")) << log_; // as this may be
}

#if !defined(_WIN32)
TEST_F(FtpServer, FollowsNoLinkAndWaitsForNoPipe) {
    open();
    make_directory(top_ / "root/sub");
    for (const char* link : {"root/out", "root/sub/out"})
        ASSERT_EQ(0, symlink((top_ / "other").c_str(), (top_ / link).c_str()));
    ASSERT_EQ(0, symlink((top_ / "other/secret").c_str(), (top_ / "root/file").c_str()));
    ASSERT_EQ(0, symlink("../..", (top_ / "root/sub/up").c_str()));
    ASSERT_EQ(0, mkfifo((top_ / "root/fifo").c_str(), 0600));
    top_.write("root/in", "inside");
    const owned_socket s = logged_in();
    for (const char* line : {"RETR out/secret",
                             "RETR ./sub/out/secret",
                             "RETR sub/up/other/secret",
                             "RETR file",
                             "RETR fifo",
                             "STOR file",
                             "STOR out/x",
                             "APPE fifo",
                             "STOU out/x",
                             "NLST out/x",
                             "LIST sub/out/x",
                             "MLSD sub/up",
                             "CWD out",
                             "CWD sub/up",
                             "MKD out/x",
                             "SIZE file",
                             "MDTM out/secret",
                             "MLST out/secret",
                             "STAT out/x",
                             "MFMT 20200101000000 file",
                             "RMD out",
                             "DELE out/secret",
                             "RNFR out/secret"})
        EXPECT_EQ("550", ask(s, data(s) >= 0 ? line : "")) << line;
    EXPECT_EQ("350", ask(s, "RNFR in"));
    EXPECT_EQ("550", ask(s, "RNTO out/in"));
    EXPECT_NE(std::string::npos, fetch(s, "LIST").find("lrwxrwxrwx"));
    EXPECT_NE(std::string::npos, fetch(s, "MLSD").find("type=OS.unix=slink;"));
    EXPECT_EQ("250", ask(s, "DELE file")); // the link itself
    EXPECT_EQ("hidden", top_.read("other/secret"));
}

TEST_F(FtpServer, StaysBelowItsRootWhileOthersRename) {
    open();
    make_directory(top_ / "root/sub");
    for (int i = 0; i < 300; i++)
        top_.write("root/sub/" + std::to_string(i), "inside");
    top_.write("other/0", "hidden");
    const owned_socket s = logged_in();
    EXPECT_EQ("250", ask(s, "CWD sub"));
    owned_socket list = data(s), file = logged_in(), bytes = data(file);
    say(s, "NLST\r\n");
    ASSERT_EQ("150", codes_of(answer(s)));
    ASSERT_EQ(0, rename((top_ / "root/sub").c_str(), (top_ / "moved").c_str()));
    ASSERT_EQ(0, symlink((top_ / "other").c_str(), (top_ / "root/sub").c_str()));
    const std::string names = hear_all(list);
    EXPECT_EQ(300, std::count(names.begin(), names.end(), '\n')) << "it lists what it had opened";
    EXPECT_EQ("226", codes_of(answer(s)));
    for (const char* line : {"RETR 0", "RETR secret", "STOR new", "NLST 0"})
        EXPECT_EQ("550", fetch(s, line)) << line;
    for (const char* line : {"CWD .", "MKD new", "DELE 0", "SIZE 0"})
        EXPECT_EQ("550", ask(s, line)) << line;
    EXPECT_EQ("250", ask(s, "CDUP"));
}
#endif

TEST_F(FtpServer, TakesNoNameForAWayOut) {
    open();
    make_directory(top_ / "root/sub");
    top_.write("root/in", "inside");
    const owned_socket s = logged_in();
    for (const std::string name : {"../other/secret",
                                   "/../other/secret",
                                   "sub/../../other/secret",
                                   "sub/..//../other/secret",
                                   "..\\other\\secret",
                                   "/..\\..\\other/secret",
                                   "%2e%2e/other/secret",
                                   "..%2fother/secret",
                                   "\xc0\xae\xc0\xae/other/secret",
                                   "....//other/secret",
                                   "C:/other/secret",
                                   "C:in",
                                   "//other/secret",
                                   "~/other/secret",
                                   "in/",
                                   "in\\..\\in",
                                   "/",
                                   "..",
                                   "sub/.",
                                   "in:stream",
                                   ".../in"}) {
        const bool is_file = name == "in/"; // an end without a name is none
        EXPECT_EQ(is_file ? "150 226 inside" : "550", fetch(s, "RETR " + name)) << name;
        EXPECT_EQ(is_file ? "213" : "550", ask(s, "SIZE " + name)) << name;
    }
    EXPECT_EQ("250", ask(s, "CWD ../../.."));
    EXPECT_EQ("257 \"/\" is where you are.\r\n", ask_text(s, "PWD"));
    for (const char* line : {"RMD /", "RMD .", "DELE ..", "RNFR /", "RNFR sub/..", "MKD /"})
        EXPECT_EQ("550", ask(s, line)) << line;
    EXPECT_EQ("550", ask(s, "CWD " + std::string(3000, 'a') + "/" + std::string(1000, 'b')));
    EXPECT_EQ("150 226 inside", fetch(s, "RETR sub/../../../in"));
    EXPECT_EQ("hidden", top_.read("other/secret"));
}

TEST_F(FtpServer, LetsAccountsDoWhatTheyMay) {
    open();
    make_directory(top_ / "root/full");
    top_.write("root/full/file", "here");
    const struct {
        const char *line, *ann, *eve, *bob;
    } all[] = {
        {"NLST full", "150 226 full/file\r\n", "150 226 full/file\r\n", "550"},
        {"RETR full/file", "150 226 here", "150 226 here", "550"},
        {"STOR new", "150 226", "550", "150 226"},
        {"APPE new", "150 226", "550", "150 226"},
    };
    for (const auto& one : all) {
        const auto run = [&](const char* name) {
            const owned_socket s = logged_in(name);
            return one.line[0] == 'S' || one.line[0] == 'A' ? store(s, one.line, "x") : fetch(s, one.line);
        };
        EXPECT_EQ(one.ann, run("ann")) << one.line;
        EXPECT_EQ(one.eve, run("eve")) << one.line;
        EXPECT_EQ(one.bob, run("bob")) << one.line;
    }
    const std::string lines =
        "CWD full\nMKD x\nSIZE file\nMDTM file\nMLST file\nSTAT .\nMFMT 20010203040506 file\n"
        "RNFR file\nRNTO new\nDELE new\nRMD x\nPWD\n";
    const struct {
        const char *name, *codes;
    } sessions[] = {{"eve", "250 550 213 213 250 213 550 550 550 550 550 257"},
                    {"bob", "250 257 550 550 550 550 213 550 550 550 550 257"},
                    {"ann", "250 550 213 213 250 213 213 350 250 250 250 257"}};
    for (const auto& one : sessions)
        EXPECT_EQ(std::string("220 331 230 ") + one.codes,
                  talk("USER " + std::string(one.name) + "\nPASS pw\n" + lines));
    EXPECT_NE(std::string::npos, log_.find("eve refused MFMT"));
    EXPECT_NE(std::string::npos, log_.find("ann changed RNTO /full/file to /full/new"));
}

TEST_F(FtpServer, KnowsHowDataAreToGo) {
    options_.m_first_passive_port = options_.m_last_passive_port = own_port(bound(AF_INET, SOCK_STREAM));
    options_.m_passive_address = "192.0.2.9";
    open();
    const owned_socket s = logged_in();
    const struct {
        const char *line, *code;
    } all[] = {
        {"TYPE A", "200"},
        {"TYPE a n", "200"},
        {"TYPE E", "504"},
        {"TYPE L 8", "200"},
        {"TYPE I", "200"},
        {"TYPE", "501"},
        {"MODE S", "200"},
        {"MODE B", "504"},
        {"STRU F", "200"},
        {"STRU R", "504"},
        {"ALLO 100 R 10", "202"},
        {"ALLO x", "501"},
        {"REST 5", "350"},
        {"REST -1", "501"},
        {"REST 99999999999999999999", "501"},
        {"REST 0", "350"},
        {"RETR a", "425"},
        {"LIST", "425"},
        {"STOR a", "425"},
        {"SITE CHMOD 777 a", "504"},
        {"SITE help", "214"},
        {"PORT 127,0,0,1,200,7", "200"},
        {"PORT 127,0,0,2,200,7", "504"},
        {"PORT 10,0,0,1,200,7", "504"},
        {"PORT 127,0,0,1,3,255", "504"},
        {"PORT 127,0,0,1,0,0", "504"},
        {"PORT 127,0,0,1,256,1", "501"},
        {"PORT 127,0,0,1,1", "501"},
        {"PORT 127,0,0,1,1,1,1", "501"},
        {"PORT 127.0.0.1,200,7", "501"},
        {"PORT -1,0,0,1,200,7", "501"},
        {"PORT 127,0,0,1,200,", "501"},
        {"EPRT |1|127.0.0.1|40000|", "200"},
        {"EPRT !1!127.0.0.1!40000!", "200"},
        {"EPRT |1|127.0.0.1|80|", "504"},
        {"EPRT |1|192.0.2.1|40000|", "504"},
        {"EPRT |2|::1|40000|", "504"},
        {"EPRT |2|::ffff:127.0.0.1|40000|", "504"},
        {"EPRT |3|x|40000|", "522"},
        {"EPRT |1|127.0.0.1:99|40000|", "501"},
        {"EPRT |1|localhost|40000|", "501"},
        {"EPRT |1|127.0.0.1|70000|", "501"},
        {"EPRT |1|127.0.0.1|40000", "501"},
        {"EPRT |", "501"},
        {"EPRT ||||", "501"},
        {"EPSV 2", "522"},
        {"EPSV 1", "229"},
        {"EPSV x", "522"},
        {"PASV", "227"},
        {"OPTS MLST size;Type;x;", "200"},
        {"OPTS MLST", "200"},
        {"OPTS UTF8 OFF", "504"},
        {"OPTS x", "501"},
        {"MFMT 20010230000000 a", "501"},
        {"MFMT 2001", "501"},
        {"MFMT 2001020304-506 a", "501"},
        {"EPSV ALL", "200"},
        {"PASV", "503"},
        {"PORT 127,0,0,1,200,7", "503"},
        {"EPRT |1|127.0.0.1|40000|", "503"},
        {"EPSV", "229"},
        {"ABOR", "226"},
        {"LIST", "425"},
    };
    for (const auto& one : all)
        EXPECT_EQ(one.code, ask(s, one.line)) << one.line;
    const owned_socket other = logged_in();
    const std::string told = ask_text(other, "PASV");
    EXPECT_EQ(0u, told.find("227 Entering Passive Mode (192,0,2,9,")) << told;
    EXPECT_NE(std::string::npos, told.find("," + std::to_string(options_.m_first_passive_port / 256) + ","));
    EXPECT_EQ("425", ask(s, "EPSV")) << "the only port is taken";
}

TEST_F(FtpServer, SaysWhatItDoesNot) {
    options_.m_flags = def_ombrel_ftp_server_passive_only;
    open();
    top_.write("root/file", "12345");
    const int port6 = ombrel_ftp_server_listen(server_, "::1", 0);
    const owned_socket s = logged_in();
    const std::string deep(600, 'd');
    for (const auto& [line, code] : {std::pair<std::string, const char*>{"PORT 127,0,0,1,200,7", "502"},
                                     {"EPRT |1|127.0.0.1|40000|", "502"},
                                     {"RNTO x", "503"},
                                     {"MKD " + deep + "/" + deep, "550"},
                                     {"\xff\xfd\x06NOOP", "200"}, // an option of Telnet
                                     {"\xff\xf1NOOP", "200"}})
        EXPECT_EQ(code, ask(s, line)) << line;
#if !defined(_WIN32) // where names are texts
    EXPECT_EQ("257", ask(s, "MKD \xff\xff"));
    EXPECT_EQ(1, ombrel_file_exists((top_ / "root/\xff").c_str()));
#endif
    ASSERT_EQ("350", ask(s, "REST 2"));
    ASSERT_EQ("200", ask(s, "TYPE A"));
    EXPECT_EQ("504", ask(s, "REST 2"));
    EXPECT_EQ("504", fetch(s, "RETR file"));
    if (port6 > 0) {
        const owned_socket six(ombrel_open_connect_socket("::1", port6, 10000));
        EXPECT_EQ("220 331 230 425 229",
                  (say(six, "USER ann\r\nPASS pw\r\nPASV\r\nEPSV\r\n"), codes_of(answer(six, 5))));
    }
    const ombrel_ftp_account_t again{"ann", "", "/", 7};
    EXPECT_EQ(-1, ombrel_ftp_server_add_account(server_, &again));
}

#if !defined(_WIN32)
TEST_F(FtpServer, ShowsWhatRunsAsOthers) {
    open();
    const owned_socket s = logged_in();
    for (const auto& [mode, letters] :
         {std::pair{07777, "rwsrwsrwt"}, {07644, "rwSr-Sr-T"}, {0600, "rw-------"}}) {
        top_.write("root/file", "");
        ASSERT_EQ(0, chmod((top_ / "root/file").c_str(), static_cast<mode_t>(mode)));
        EXPECT_EQ(letters, fetch(s, "LIST file").substr(9, 9));
    }
}
#endif

TEST_F(FtpServer, MovesFilesBothWays) {
    open();
    std::string bytes(3000000, 0);
    for (size_t i = 0; i < bytes.size(); i++)
        bytes[i] = static_cast<char>(i * i >> 5);
    const owned_socket s = logged_in();
    EXPECT_EQ("150 226", store(s, "STOR big", bytes));
    EXPECT_TRUE(top_.read("root/big") == bytes);
    EXPECT_TRUE(fetch(s, "RETR big") == "150 226 " + bytes);
    EXPECT_EQ("213 3000000\r\n", ask_text(s, "SIZE big"));
    const struct {
        std::string place, line, sent, codes, file;
    } stores[] = {
        {"0", "STOR a", "12345", "150 226", "12345"}, {"3", "STOR a", "xy", "150 226", "123xy"},
        {"0", "APPE a", "67", "150 226", "123xy67"},  {"7", "STOR a", "8", "150 226", "123xy678"},
        {"9", "STOR a", "9", "554", "123xy678"},      {"0", "STOR a", "", "150 226", ""},
    };
    for (const auto& one : stores) {
        EXPECT_EQ("350", ask(s, "REST " + one.place));
        EXPECT_EQ(one.codes, store(s, one.line, one.sent)) << one.line << one.place;
        EXPECT_EQ(one.file, top_.read("root/a"));
    }
    top_.write("root/a", "12345");
    EXPECT_EQ("350", ask(s, "REST 2"));
    EXPECT_EQ("150 226 345", fetch(s, "RETR a"));
    EXPECT_EQ("150 226 12345", fetch(s, "RETR a")) << "a place counts once";
    EXPECT_EQ("350", ask(s, "REST 6"));
    EXPECT_EQ("554", fetch(s, "RETR a"));
    say(data(s), ""); // replaces the file's connection, which is closed again
    EXPECT_EQ("213 20010203040506\r\n", (ask(s, "MFMT 20010203040506.5 a"), ask_text(s, "MDTM a")));
}

TEST_F(FtpServer, TurnsLineEndsInAsciiType) {
    open();
    const owned_socket s = logged_in();
    ASSERT_EQ("200", ask(s, "TYPE A"));
    const struct {
        std::string sent, file, fetched;
    } all[] = {{"a\r\nb\r\n", "a\nb\n", "a\r\nb\r\n"},
               {"\r\r\n\rx\n\r", "\r\n\rx\n\r", "\r\n\rx\r\n\r"},
               {"", "", ""}};
    for (const auto& one : all) {
        EXPECT_EQ("150 226", store(s, "STOR a", one.sent));
        EXPECT_EQ(one.file, top_.read("root/a"));
        EXPECT_EQ("150 226 " + one.fetched, fetch(s, "RETR a"));
    }
    std::string lines, ended;
    for (int i = 0; i < 30000; i++)
        lines += std::to_string(i) + "\n", ended += std::to_string(i) + "\r\n";
    top_.write("root/lines", lines);
    EXPECT_TRUE(fetch(s, "RETR lines") == "150 226 " + ended);
    owned_socket to = data(s);
    ASSERT_EQ("150", ask(s, "STOR a"));
    for (const char* piece : {"1\r", "\n2\r", "3\r\n", "\r"}) {
        const uint64_t before = counts().m_received_bytes;
        say(to, piece);
        EXPECT_TRUE(turn_until([&] { return counts().m_received_bytes == before + strlen(piece); }));
    }
    to.close();
    EXPECT_EQ("226", codes_of(answer(s)));
    EXPECT_EQ("1\n2\r3\n\r", top_.read("root/a"));
    EXPECT_EQ("550 504", ask(s, "SIZE a") + " " + ask(s, "REST 1"));
}

TEST_F(FtpServer, ListsInEachForm) {
    options_.m_listing_limit = 300;
    open();
    make_directory(top_ / "root/sub");
    top_.write("root/sub/a.txt", "12345");
    top_.write("root/sub/b c.bin", "");
    const owned_socket s = logged_in();
    ASSERT_EQ("213", ask(s, "MFMT 20010203040506 sub/a.txt"));
    ASSERT_EQ("200", ask(s, "OPTS MLST type;size;modify;perm;"));
    const struct {
        std::string line, expected;
    } all[] = {
        {"NLST sub/*.txt", "150 226 sub/a.txt\r\n"},
        {"NLST -la sub/a.txt", "150 226 sub/a.txt\r\n"},
        {"NLST sub/[", "550"},
        {"NLST sub/none", "550"},
        {"LIST none", "550"},
        {"MLSD sub/none", "550"},
        {"MLSD sub/a.txt", "550"},
        {"MLSD sub/a*", "550"},
        {"MLSD",
         "150 226 type=dir;modify=" + ask_text(s, "MLST sub").substr(31, 14) + ";perm=cdeflmp; sub\r\n"},
    };
    for (const auto& one : all)
        EXPECT_EQ(one.expected, fetch(s, one.line)) << one.line;
    EXPECT_NE(std::string::npos, fetch(s, "LIST -a sub/a.txt").find("           5 Feb  3  2001 a.txt\r\n"));
    EXPECT_EQ("250-Listing:\r\n type=file;size=5;modify=20010203040506;perm=adfrw; /sub/a.txt\r\n250 End of "
              "listing.\r\n",
              ask_text(s, "MLST sub/a.txt"));
#if !defined(_WIN32) // where no name has a quote
    EXPECT_EQ("257", ask(s, "MKD b \"q\""));
    EXPECT_EQ("257 \"/b \"\"q\"\"\" is where you are.\r\n", (ask(s, "CWD b \"q\""), ask_text(s, "PWD")));
#endif
    EXPECT_NE(std::string::npos, ask_text(s, "STAT /sub").find(" a.txt\r\n"));
    for (int i = 0; i < 301; i++)
        top_.write("root/sub/" + std::to_string(i), "");
    EXPECT_EQ("150 451", fetch(s, "NLST /sub").substr(0, 7));
}

} // namespace
