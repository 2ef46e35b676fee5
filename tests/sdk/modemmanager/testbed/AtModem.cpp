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
#include <map>

namespace {

constexpr const char* kNotAllowed = "+CME ERROR: 3";
constexpr const char* kSimNotInserted = "+CME ERROR: 10";
constexpr const char* kSimPinRequired = "+CME ERROR: 11";
constexpr const char* kSimPukRequired = "+CME ERROR: 12";
constexpr const char* kIncorrectPassword = "+CME ERROR: 16";

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::toupper(c)); });
    return text;
}

bool startsWith(const std::string& text, const std::string& prefix)
{
    return upper(text).rfind(upper(prefix), 0) == 0;
}

// `"a","b",1` -> {a, b, 1}.
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

// The commands that carry a PIN or PUK, with every quoted code starred; the
// facility name "SC" is no secret.
std::string masked(const std::string& line)
{
    if (!startsWith(line, "AT+CPIN=") && !startsWith(line, "AT+CLCK=") &&
        !startsWith(line, "AT+CPWD="))
        return line;
    std::string out;
    std::size_t open = std::string::npos;
    for (char c : line) {
        if (c == '"' && open == std::string::npos) {
            open = out.size();
        } else if (c == '"') {
            if (out.substr(open + 1) != "SC")
                std::fill(out.begin() + long(open) + 1, out.end(), '*');
            open = std::string::npos;
        }
        out += c;
    }
    return out;
}

} // namespace

AtModem::AtModem(std::string name, AtModemConfig config, const std::string& logFile)
    : m_name(std::move(name)), m_logFile(logFile, std::ios::app)
{
    m_state.sim = std::move(config);
    m_pinVerified = !m_state.sim.pinEnabled;
}

AtModem::~AtModem()
{
    if (m_wakePipe[1] >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(m_wakePipe[1], "q", 1);
    }
    if (m_thread.joinable())
        m_thread.join();
    for (int fd : {m_listenFd, m_wakePipe[0], m_wakePipe[1]}) {
        if (fd >= 0)
            ::close(fd);
    }
}

bool AtModem::start(std::string* error)
{
    m_listenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = portName(); // an abstract socket named as the port
    std::memcpy(address.sun_path + 1, name.data(),
                std::min(name.size(), sizeof address.sun_path - 2));
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (m_listenFd < 0 || ::bind(m_listenFd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(m_listenFd, 4) != 0 || ::pipe2(m_wakePipe, O_CLOEXEC) != 0) {
        *error = "cannot listen on " + name + ": " + std::strerror(errno);
        return false;
    }
    m_thread = std::thread([this] { serve(); });
    return true;
}

// One client at a time: the daemon opens the port again after a re-probe.
void AtModem::serve()
{
    int client = -1;
    std::string pending;
    for (;;) {
        pollfd fds[2] = {{m_wakePipe[0], POLLIN, 0},
                         {client >= 0 ? client : m_listenFd, POLLIN, 0}};
        if ((::poll(fds, 2, -1) < 0 && errno != EINTR) || fds[0].revents)
            break;
        if (!fds[1].revents)
            continue;
        if (client < 0) {
            client = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
            pending.clear();
            continue;
        }
        char buffer[512];
        const ssize_t got = ::read(client, buffer, sizeof buffer);
        if (got <= 0) {
            ::close(client);
            client = -1;
            continue;
        }
        pending.append(buffer, std::size_t(got));
        for (std::size_t end; (end = pending.find_first_of("\r\n")) != std::string::npos;) {
            const std::string line = pending.substr(0, end);
            pending.erase(0, end + 1);
            const std::string reply = line.empty() ? std::string() : handleLine(line);
            if (!reply.empty() && ::write(client, reply.data(), reply.size()) < 0)
                break;
        }
    }
    if (client >= 0)
        ::close(client);
}

std::string AtModem::handleLine(const std::string& line)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_log.push_back(masked(line));
    m_logFile << m_log.back() << std::endl;
    m_changed.notify_all();
    if (!m_silentOn.empty() && startsWith(line, m_silentOn))
        return {};
    if (!startsWith(line, "AT"))
        return "\r\nERROR\r\n";
    // Commands chained with ';' share one final result.
    std::string out;
    std::string final = "OK";
    std::size_t start = 2;
    while (start <= line.size() && final == "OK") {
        const std::size_t end = std::min(line.find(';', start), line.size());
        const Reply reply = handleCommand(line.substr(start, end - start));
        for (const std::string& info : reply.lines)
            out += "\r\n" + info + "\r\n";
        final = reply.final;
        start = end + 1;
    }
    out += "\r\n" + final + "\r\n" + m_unsolicited;
    m_unsolicited.clear();
    return out;
}

AtModem::Reply AtModem::handleCommand(const std::string& command)
{
    static const std::map<std::string, std::string> identity = {
        {"I", ""},
        {"+CGMM", ""},
        {"+GMM", ""}, // the model, filled in below
        {"+CGMI", "linkmarrow"},
        {"+GMI", "linkmarrow"},
        {"+CGMR", "LM-EMU 1.0"},
        {"+GMR", "LM-EMU 1.0"},
        {"+CGSN", "356938035643809"},
        {"+GSN", "356938035643809"},
        {"+GCAP", "+GCAP: +CGSM,+DS"},
        {"+CSQ", "+CSQ: 20,99"},
        {"+CSCS=?", "+CSCS: (\"IRA\",\"GSM\")"},
        {"+CSCS?", "+CSCS: \"IRA\""},
        {"+CFUN=?", "+CFUN: (0,1,4),(0-1)"},
        {"+CLCK=?", "+CLCK: (\"SC\")"},
        {"+CGATT=?", "+CGATT: (0,1)"},
        {"+CREG=?", "+CREG: (0-2)"},
        {"+CGREG=?", "+CGREG: (0-2)"}};
    const std::string name = upper(command.substr(0, command.find_first_of("=?")));
    const std::string rest = command.substr(name.size());
    const std::vector<std::string> args = splitArgs(rest.substr(rest.empty() ? 0 : 1));
    const bool query = rest == "?";
    AtModemConfig& sim = m_state.sim;

    if (const auto it = identity.find(name + (query || rest == "=?" ? rest : ""));
        it != identity.end())
        return {{it->second.empty() ? sim.model : it->second}};
    if (name.empty() || (name[0] != '+' && name[0] != '*' && name[0] != '^'))
        return {}; // E0, V1, X4, &C1 ...
    if (name == "+CMEE" || name == "+CSCS" || name == "+CTZU" || (name == "+COPS" && !query))
        return {};
    if (name == "+COPS")
        return {{simReady() && m_state.cfun == 1 ? "+COPS: 0,2,\"26201\",2" : "+COPS: 0"}};
    if (name == "+CFUN" && query)
        return {{"+CFUN: " + std::to_string(m_state.cfun)}};
    if (name == "+CGATT" && query)
        return {{std::string("+CGATT: ") + (m_state.attached ? "1" : "0")}};
    if (name == "+CFUN" || name == "+CGATT") {
        if (name == "+CFUN")
            m_state.cfun = std::atoi(args[0].c_str());
        else
            m_state.attached = args[0] == "1";
        queueRegistrationNotices();
        return {};
    }
    if (name == "+CREG" || name == "+CGREG") {
        const bool packet = name == "+CGREG";
        if (query)
            return {{registration(packet, false)}};
        m_registrationMode[packet] = std::atoi(args[0].c_str());
        return {};
    }
    if (!sim.simPresent && name != "+ZPINPUK")
        return {{},
                name == "+CPIN" || name == "+CIMI" || name == "+CLCK" || name == "+CPWD" ||
                        name == "+CSIM" || name == "+CRSM"
                    ? kSimNotInserted
                    : "ERROR"};
    if (name == "+CPIN" && query)
        return {{sim.pinTries == 0 ? "+CPIN: SIM PUK"
                 : m_pinVerified   ? "+CPIN: READY"
                                   : "+CPIN: SIM PIN"}};
    if (name == "+CSIM") {
        // VERIFY or UNBLOCK without data: the SIM answers 63Cx, x the tries left.
        const std::string apdu = args.size() > 1 ? args[1] : "";
        const bool puk = apdu.rfind("002C", 0) == 0;
        const bool second = apdu.size() >= 8 && apdu.substr(6, 2) == "81";
        const int tries = second ? (puk ? 10 : 3) : (puk ? sim.pukTries : sim.pinTries);
        return {{"+CSIM: 4,\"63C" + std::string(1, "0123456789ABCDEF"[tries & 15]) + "\""}};
    }
    if (name == "+ZPINPUK")
        return {{"+ZPINPUK: " + std::to_string(sim.pinTries) + "," + std::to_string(sim.pukTries)}};
    if (name == "+CRSM" && args.size() > 1 && args[1] == "12258")
        return {{"+CRSM: 144,0,\"98942000002143658709\""}}; // the ICCID, digits swapped
    if (name == "+CPIN" || name == "+CLCK" || name == "+CPWD")
        return codeCommand(name, args);
    if (name == "+CIMI")
        return simReady() ? Reply{{sim.imsi}}
                          : Reply{{}, sim.pinTries == 0 ? kSimPukRequired : kSimPinRequired};
    return {{}, "ERROR"};
}

AtModem::Reply AtModem::codeCommand(const std::string& name, const std::vector<std::string>& args)
{
    AtModemConfig& sim = m_state.sim;
    if (name == "+CPIN" && args.size() == 2) { // the PUK and a new PIN
        if (sim.pinTries > 0 || sim.pukTries == 0)
            return {{}, sim.pukTries == 0 ? kSimPukRequired : kNotAllowed};
        if (args[0] != sim.puk) {
            --sim.pukTries;
            return {{}, kIncorrectPassword};
        }
        sim = {sim.model, sim.imsi, true, true, args[1], sim.puk, 3, 10};
        m_pinVerified = true;
        queueRegistrationNotices();
        return {};
    }
    if (name == "+CPIN") {
        if (sim.pinTries == 0 || m_pinVerified)
            return {{}, sim.pinTries == 0 ? kSimPukRequired : kNotAllowed};
        if (args[0] != sim.pin)
            return wrongPin();
        sim.pinTries = 3;
        m_pinVerified = true;
        queueRegistrationNotices();
        return {};
    }
    if (!simReady())
        return {{}, sim.pinTries == 0 ? kSimPukRequired : kSimPinRequired};
    if (args[0] != "SC" || args.size() < (name == "+CPWD" ? 3u : 2u))
        return {{}, "ERROR"};
    if (name == "+CLCK" && args[1] == "2")
        return {{std::string("+CLCK: ") + (sim.pinEnabled ? "1" : "0")}};
    // CLCK "SC",mode,pin switches the protection; CPWD "SC",old,new changes the PIN.
    const std::string& given = name == "+CLCK" ? (args.size() > 2 ? args[2] : "") : args[1];
    if (given != sim.pin)
        return wrongPin();
    sim.pinTries = 3;
    if (name == "+CLCK")
        sim.pinEnabled = args[1] == "1";
    else
        sim.pin = args[2];
    return {};
}

AtModem::Reply AtModem::wrongPin()
{
    AtModemConfig& sim = m_state.sim;
    sim.pinTries = std::max(0, sim.pinTries - 1);
    if (sim.pinTries > 0)
        return {{}, kIncorrectPassword};
    m_pinVerified = false;
    return {{}, kSimPukRequired};
}

bool AtModem::simReady() const
{
    return m_state.sim.simPresent && m_pinVerified && m_state.sim.pinTries > 0;
}

// "+CREG: 2,1,..." as a query answers; a notice leaves the mode out.
std::string AtModem::registration(bool packet, bool notice) const
{
    const int mode = m_registrationMode[packet];
    const bool on = simReady() && m_state.cfun == 1 && (!packet || m_state.attached);
    std::string text = packet ? "+CGREG: " : "+CREG: ";
    if (!notice)
        text += std::to_string(mode) + ",";
    text += on ? "1" : "0";
    return on && mode == 2 ? text + ",\"1A2B\",\"01C3D4E5\"" : text;
}

void AtModem::queueRegistrationNotices()
{
    for (bool packet : {false, true}) {
        if (m_registrationMode[packet])
            m_unsolicited += "\r\n" + registration(packet, true) + "\r\n";
    }
}

AtModem::State AtModem::state() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_state;
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
    m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        for (std::size_t i = from; i < m_log.size() && found < 0; ++i) {
            if (startsWith(m_log[i], prefix))
                found = int(i);
        }
        return found >= 0;
    });
    return found;
}

void AtModem::setSilentOn(const std::string& prefix)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_silentOn = prefix;
}
