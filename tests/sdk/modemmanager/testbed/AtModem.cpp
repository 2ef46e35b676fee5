#include "AtModem.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>

namespace {

constexpr int kMeSimNotInserted = 10;
constexpr int kMeSimPinRequired = 11;
constexpr int kMeSimPukRequired = 12;
constexpr int kMeIncorrectPassword = 16;

std::string cmeError(int code)
{
    return "+CME ERROR: " + std::to_string(code);
}

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::toupper(c)); });
    return text;
}

// "a","b",1 -> {a, b, 1}; quotes removed.
std::vector<std::string> splitArgs(const std::string& text)
{
    std::vector<std::string> args(1);
    bool quoted = false;
    for (char c : text) {
        if (c == '"')
            quoted = !quoted;
        else if (c == ',' && !quoted)
            args.emplace_back();
        else
            args.back() += c;
    }
    return args;
}

// The ICCID as the SIM stores it: each pair of digits swapped.
std::string swappedBcd(const std::string& digits)
{
    std::string out;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        out += digits[i + 1];
        out += digits[i];
    }
    return out;
}

std::string hexDigit(int value)
{
    const char* digits = "0123456789ABCDEF";
    return std::string(1, digits[std::clamp(value, 0, 15)]);
}

// Quoted arguments of the commands that carry a PIN or PUK, masked for the log.
std::string masked(const std::string& line)
{
    const std::string command = upper(line);
    const bool secret = command.rfind("AT+CPIN=", 0) == 0 || command.rfind("AT+CLCK=", 0) == 0 ||
                        command.rfind("AT+CPWD=", 0) == 0;
    if (!secret)
        return line;
    std::string out;
    bool quoted = false;
    int field = 0;
    for (char c : line) {
        if (c == '"') {
            quoted = !quoted;
            if (quoted)
                ++field;
            out += c;
            continue;
        }
        // The facility name ("SC") of CLCK and CPWD is no secret.
        const bool facility = field == 1 && command.rfind("AT+CPIN=", 0) != 0;
        out += (quoted && !facility) ? '*' : c;
    }
    return out;
}

} // namespace

AtModem::AtModem(std::string name, AtModemConfig config)
    : m_name(std::move(name)), m_sim(std::move(config))
{
    m_pinVerified = !m_sim.pinEnabled;
}

AtModem::~AtModem()
{
    if (m_wakePipe[1] >= 0) {
        const char stop = 'q';
        [[maybe_unused]] ssize_t written = ::write(m_wakePipe[1], &stop, 1);
    }
    if (m_thread.joinable())
        m_thread.join();
    for (int fd : {m_listenFd, m_wakePipe[0], m_wakePipe[1]}) {
        if (fd >= 0)
            ::close(fd);
    }
}

void AtModem::setLogFile(const std::string& path)
{
    m_logFile.open(path, std::ios::app);
}

bool AtModem::start(std::string* error)
{
    m_listenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string abstractName = portName(); // the port name is the socket's name
    std::memcpy(address.sun_path + 1, abstractName.data(),
                std::min(abstractName.size(), sizeof address.sun_path - 2));
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + 1 + abstractName.size());
    if (m_listenFd < 0 || ::bind(m_listenFd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(m_listenFd, 4) != 0 || ::pipe2(m_wakePipe, O_CLOEXEC) != 0) {
        *error = "cannot listen on " + abstractName + ": " + std::strerror(errno);
        return false;
    }
    m_thread = std::thread([this] { serve(); });
    return true;
}

void AtModem::serve()
{
    for (;;) {
        pollfd fds[2] = {{m_listenFd, POLLIN, 0}, {m_wakePipe[0], POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0 && errno != EINTR)
            return;
        if (fds[1].revents)
            return;
        if (!(fds[0].revents & POLLIN))
            continue;
        const int client = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            continue;
        serveClient(client);
        ::close(client);
    }
}

void AtModem::serveClient(int fd)
{
    std::string pending;
    for (;;) {
        pollfd fds[2] = {{fd, POLLIN, 0}, {m_wakePipe[0], POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0 && errno != EINTR)
            return;
        if (fds[1].revents) {
            // Leave the stop byte for serve() to see.
            return;
        }
        char buffer[512];
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got <= 0)
            return;
        pending.append(buffer, std::size_t(got));
        std::size_t end;
        while ((end = pending.find_first_of("\r\n")) != std::string::npos) {
            const std::string line = pending.substr(0, end);
            pending.erase(0, end + 1);
            if (line.empty())
                continue;
            const std::string reply = handleLine(line);
            if (!reply.empty() && ::write(fd, reply.data(), reply.size()) < 0)
                return;
        }
    }
}

std::string AtModem::handleLine(const std::string& line)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_log.push_back(masked(line));
    if (m_logFile.is_open())
        m_logFile << m_log.back() << std::endl;
    m_changed.notify_all();
    if (!m_silentOn.empty() && upper(line).rfind(upper(m_silentOn), 0) == 0)
        return {};
    std::string text = line;
    if (upper(text.substr(0, 2)) != "AT")
        return "\r\nERROR\r\n";
    text.erase(0, 2);
    // Commands chained with ';' share one final result.
    std::string out;
    std::string final = "OK";
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find(';', start);
        if (end == std::string::npos)
            end = text.size();
        const Reply reply = handleCommand(text.substr(start, end - start));
        for (const std::string& info : reply.lines)
            out += "\r\n" + info + "\r\n";
        if (reply.final != "OK") {
            final = reply.final;
            break;
        }
        start = end + 1;
    }
    out += "\r\n" + final + "\r\n";
    out += m_unsolicited;
    m_unsolicited.clear();
    return out;
}

AtModem::Reply AtModem::handleCommand(const std::string& command)
{
    const std::string name = upper(command.substr(0, command.find_first_of("=?")));
    const std::string rest = command.substr(name.size());
    const auto args = [&] { return splitArgs(rest.substr(rest.empty() ? 0 : 1)); };
    const bool query = rest == "?";
    const bool test = rest == "=?";

    if (name.empty() || (name[0] != '+' && name[0] != '*' && name[0] != '^' && name != "I"))
        return {}; // E0, V1, X4, &C1 ...
    if (name == "I" || name == "+CGMM" || name == "+GMM")
        return {{m_sim.model}};
    if (name == "+CGMI" || name == "+GMI")
        return {{"linkmarrow"}};
    if (name == "+CGMR" || name == "+GMR")
        return {{"LM-EMU 1.0"}};
    if (name == "+CGSN" || name == "+GSN")
        return {{"356938035643809"}};
    if (name == "+GCAP")
        return {{"+GCAP: +CGSM,+DS"}};
    if (name == "+CMEE" || name == "+COPS" || name == "+CSCS" || name == "+CTZU")
        return query && name == "+COPS"
                   ? Reply{{registered() ? "+COPS: 0,2,\"26201\",2" : "+COPS: 0"}}
               : test && name == "+CSCS"  ? Reply{{"+CSCS: (\"IRA\",\"GSM\")"}}
               : query && name == "+CSCS" ? Reply{{"+CSCS: \"IRA\""}}
                                          : Reply{};
    if (name == "+CFUN") {
        if (query)
            return {{"+CFUN: " + std::to_string(m_cfun)}};
        if (test)
            return {{"+CFUN: (0,1,4),(0-1)"}};
        m_cfun = std::atoi(args().at(0).c_str());
        queueRegistrationNotices();
        return {};
    }
    if (!m_sim.simPresent && (name == "+CPIN" || name == "+CIMI" || name == "+CLCK" ||
                              name == "+CPWD" || name == "+CSIM" || name == "+CRSM"))
        return {{}, cmeError(kMeSimNotInserted)};
    if (name == "+CPIN") {
        if (query) {
            if (m_sim.pinTries == 0)
                return {{"+CPIN: SIM PUK"}};
            return {{m_pinVerified ? "+CPIN: READY" : "+CPIN: SIM PIN"}};
        }
        return pinCommand(args());
    }
    if (name == "+CSIM") {
        // VERIFY/UNBLOCK without data: the SIM answers 63Cx, x = tries left.
        const std::string apdu = args().size() > 1 ? args()[1] : "";
        const bool puk = apdu.rfind("002C", 0) == 0;
        const bool second = apdu.size() >= 8 && apdu.substr(6, 2) == "81";
        const int tries = second ? (puk ? 10 : 3) : (puk ? m_sim.pukTries : m_sim.pinTries);
        return {{"+CSIM: 4,\"63C" + hexDigit(tries) + "\""}};
    }
    if (name == "+ZPINPUK")
        return {
            {"+ZPINPUK: " + std::to_string(m_sim.pinTries) + "," + std::to_string(m_sim.pukTries)}};
    if (name == "+CRSM") {
        const auto fields = args();
        if (fields.size() > 1 && fields[1] == "12258")
            return {{"+CRSM: 144,0,\"" + swappedBcd("89490200001234567890") + "\""}};
        return {{}, "ERROR"};
    }
    if (!simReady() && (name == "+CIMI" || name == "+CLCK" || name == "+CPWD"))
        return {{}, cmeError(m_sim.pinTries == 0 ? kMeSimPukRequired : kMeSimPinRequired)};
    if (name == "+CIMI")
        return {{m_sim.imsi}};
    if (name == "+CLCK")
        return test ? Reply{{"+CLCK: (\"SC\")"}} : lockCommand(args());
    if (name == "+CPWD")
        return changePinCommand(args());
    if (name == "+CREG" || name == "+CGREG") {
        const bool packet = name == "+CGREG";
        if (query)
            return {{registration(packet ? "+CGREG" : "+CREG", packet)}};
        if (test)
            return {{name + ": (0-2)"}};
        (packet ? m_cgregMode : m_cregMode) = std::atoi(args().at(0).c_str());
        return {};
    }
    if (name == "+CGATT") {
        if (query)
            return {{"+CGATT: " + std::string(m_attached ? "1" : "0")}};
        if (test)
            return {{"+CGATT: (0,1)"}};
        m_attached = args().at(0) == "1";
        queueRegistrationNotices();
        return {};
    }
    if (name == "+CSQ")
        return {{"+CSQ: 20,99"}};
    return {{}, "ERROR"};
}

AtModem::Reply AtModem::pinCommand(const std::vector<std::string>& args)
{
    if (args.size() == 2) { // PUK and new PIN
        if (m_sim.pinTries > 0 || m_sim.pukTries == 0)
            return {{}, cmeError(m_sim.pukTries == 0 ? kMeSimPukRequired : 3)};
        if (args[0] != m_sim.puk) {
            --m_sim.pukTries;
            return {{}, cmeError(kMeIncorrectPassword)};
        }
        m_sim.pin = args[1];
        m_sim.pinTries = 3;
        m_sim.pukTries = 10;
        m_sim.pinEnabled = true;
        m_pinVerified = true;
        queueRegistrationNotices();
        return {};
    }
    if (m_sim.pinTries == 0)
        return {{}, cmeError(kMeSimPukRequired)};
    if (m_pinVerified)
        return {{}, cmeError(3)}; // operation not allowed
    if (args.at(0) != m_sim.pin)
        return wrongPin();
    m_sim.pinTries = 3;
    m_pinVerified = true;
    queueRegistrationNotices();
    return {};
}

AtModem::Reply AtModem::lockCommand(const std::vector<std::string>& args)
{
    if (args.at(0) != "SC" || args.size() < 2)
        return {{}, "ERROR"};
    const int mode = std::atoi(args[1].c_str());
    if (mode == 2)
        return {{"+CLCK: " + std::string(m_sim.pinEnabled ? "1" : "0")}};
    if (args.size() < 3 || args[2] != m_sim.pin)
        return wrongPin();
    m_sim.pinTries = 3;
    m_sim.pinEnabled = mode == 1;
    return {};
}

AtModem::Reply AtModem::changePinCommand(const std::vector<std::string>& args)
{
    if (args.size() < 3 || args[0] != "SC")
        return {{}, "ERROR"};
    if (args[1] != m_sim.pin)
        return wrongPin();
    m_sim.pin = args[2];
    m_sim.pinTries = 3;
    return {};
}

AtModem::Reply AtModem::wrongPin()
{
    m_sim.pinTries = std::max(0, m_sim.pinTries - 1);
    if (m_sim.pinTries == 0) {
        m_pinVerified = false;
        return {{}, cmeError(kMeSimPukRequired)};
    }
    return {{}, cmeError(kMeIncorrectPassword)};
}

bool AtModem::simReady() const
{
    return m_sim.simPresent && m_pinVerified && m_sim.pinTries > 0;
}

bool AtModem::registered() const
{
    return simReady() && m_cfun == 1;
}

std::string AtModem::registration(const char* name, bool packet) const
{
    const int mode = packet ? m_cgregMode : m_cregMode;
    const bool on = registered() && (!packet || m_attached);
    std::string text = std::string(name) + ": " + std::to_string(mode) + "," + (on ? "1" : "0");
    if (on && mode == 2)
        text += ",\"1A2B\",\"01C3D4E5\"";
    return text;
}

void AtModem::queueRegistrationNotices()
{
    // An unsolicited notice carries no mode field.
    const auto notice = [this](const char* name, bool packet, int mode) {
        if (mode == 0)
            return;
        const std::string full = registration(name, packet);
        const std::size_t colon = full.find(": ");
        const std::size_t comma = full.find(',', colon);
        m_unsolicited += "\r\n" + full.substr(0, colon + 2) + full.substr(comma + 1) + "\r\n";
    };
    notice("+CREG", false, m_cregMode);
    notice("+CGREG", true, m_cgregMode);
}

std::vector<std::string> AtModem::commands() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_log;
}

int AtModem::waitForCommand(const std::string& prefix, int timeoutMs, std::size_t from) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    int found = -1;
    const auto seen = [&] {
        for (std::size_t i = from; i < m_log.size(); ++i) {
            if (upper(m_log[i]).rfind(upper(prefix), 0) == 0) {
                found = int(i);
                return true;
            }
        }
        return false;
    };
    m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), seen);
    return found;
}

void AtModem::setSilentOn(const std::string& prefix)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_silentOn = prefix;
}

int AtModem::cfun() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_cfun;
}

bool AtModem::attached() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_attached;
}

int AtModem::pinTries() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sim.pinTries;
}

int AtModem::pukTries() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sim.pukTries;
}

bool AtModem::pinEnabled() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sim.pinEnabled;
}
