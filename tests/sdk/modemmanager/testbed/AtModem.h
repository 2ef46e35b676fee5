// An emulated AT modem with a SIM, listening on an abstract unix socket that
// ModemManager opens as a virtual port. It models what the device manager
// drives through ModemManager: the SIM's PIN and PUK counters, PIN protection
// (CLCK) and PIN change (CPWD), radio power (CFUN), packet attach (CGATT), and
// network registration (CREG/CGREG) with its unsolicited notices.
#pragma once

#include <condition_variable>
#include <fstream>
#include <functional>
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
    // `name` is the socket's abstract name; ModemManager's port name is
    // "abstract:" + name.
    AtModem(std::string name, AtModemConfig config);
    ~AtModem();
    AtModem(const AtModem&) = delete;
    AtModem& operator=(const AtModem&) = delete;

    // Every command also goes to `path`, secrets masked. Before start().
    void setLogFile(const std::string& path);
    bool start(std::string* error);
    std::string portName() const { return "abstract:" + m_name; }

    // Every command received, secrets masked, in order.
    std::vector<std::string> commands() const;
    // Waits until a command starting with `prefix` arrives after the first
    // `from` commands; its index, or -1 on timeout.
    int waitForCommand(const std::string& prefix, int timeoutMs, std::size_t from = 0) const;

    // Commands starting with `prefix` get no answer at all from now on: a
    // modem that hangs in the middle of a request ("" answers everything).
    void setSilentOn(const std::string& prefix);

    int cfun() const;
    bool attached() const;
    int pinTries() const;
    int pukTries() const;
    bool pinEnabled() const;

private:
    struct Reply
    {
        std::vector<std::string> lines;
        std::string final = "OK";
    };

    void serve();
    void serveClient(int fd);
    std::string handleLine(const std::string& line);
    Reply handleCommand(const std::string& command);
    Reply pinCommand(const std::vector<std::string>& args);
    Reply lockCommand(const std::vector<std::string>& args);
    Reply changePinCommand(const std::vector<std::string>& args);
    Reply wrongPin();
    std::string registration(const char* name, bool packet) const;
    void queueRegistrationNotices();
    bool simReady() const;
    bool registered() const;

    const std::string m_name;
    AtModemConfig m_sim;
    int m_listenFd = -1;
    int m_wakePipe[2] = {-1, -1};
    std::thread m_thread;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<std::string> m_log;
    std::ofstream m_logFile;
    std::string m_unsolicited; // notices to write after the current reply
    std::string m_silentOn;
    bool m_pinVerified = false;
    int m_cfun = 1;
    bool m_attached = true;
    int m_cregMode = 0;
    int m_cgregMode = 0;
};
