// An emulated AT modem with a SIM, listening on an abstract unix socket that
// ModemManager opens as a virtual port. It models what the device manager
// drives through ModemManager: the SIM's PIN and PUK counters, PIN protection
// (CLCK) and PIN change (CPWD), radio power (CFUN), packet attach (CGATT), and
// network registration (CREG/CGREG) with its unsolicited notices.
#pragma once

#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct AtModemConfig
{
    std::string model = "LM Emulated Modem";
    std::string imsi = "262019876543210";
    bool simPresent = true;
    bool pinEnabled = true; // the SIM asks for its PIN at power-up
    std::string pin = "1234";
    std::string puk = "12345678";
    int pinTries = 3; // 0: the PUK is required
    int pukTries = 10;
};

class AtModem
{
public:
    struct State
    {
        AtModemConfig sim; // with the current PIN, counters and protection
        int cfun = 1;
        bool attached = true;
    };

    // `name` is the socket's abstract name; ModemManager's port name is
    // "abstract:" + name. Commands are logged to `logFile`, secrets masked.
    AtModem(std::string name, AtModemConfig config, const std::string& logFile);
    ~AtModem();
    AtModem(const AtModem&) = delete;
    AtModem& operator=(const AtModem&) = delete;

    bool start(std::string* error);
    std::string portName() const { return "abstract:" + m_name; }
    State state() const;

    // Every command received, secrets masked, in order.
    std::vector<std::string> commands() const;
    // Waits until a command starting with `prefix` arrives after the first
    // `from` commands; its index, or -1 on timeout.
    int waitForCommand(const std::string& prefix, int timeoutMs, std::size_t from = 0) const;
    // Commands starting with `prefix` get no answer at all from now on: a
    // modem that hangs in the middle of a request.
    void setSilentOn(const std::string& prefix);

private:
    struct Reply
    {
        std::vector<std::string> lines;
        std::string final = "OK";
    };

    void serve();
    std::string handleLine(const std::string& line);
    Reply handleCommand(const std::string& command);
    Reply codeCommand(const std::string& name, const std::vector<std::string>& args);
    Reply wrongPin();
    std::string registration(bool packet, bool notice) const;
    void queueRegistrationNotices();
    bool simReady() const;

    const std::string m_name;
    int m_listenFd = -1;
    int m_wakePipe[2] = {-1, -1};
    std::thread m_thread;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    State m_state;
    bool m_pinVerified = false;
    int m_registrationMode[2] = {0, 0}; // CREG, CGREG
    std::vector<std::string> m_log;
    std::ofstream m_logFile;
    std::string m_unsolicited; // notices to write after the current reply
    std::string m_silentOn;
};
