<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>MainWindow</name>
    <message>
        <source>Mini frame refreshed</source>
        <translation>Mini frame refreshed</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;File</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Quit</translation>
    </message>
    <message>
        <source>&amp;Device</source>
        <translation>&amp;Device</translation>
    </message>
    <message>
        <source>No device manager is loaded</source>
        <translation>No device manager is loaded</translation>
    </message>
    <message>
        <source>&amp;Language</source>
        <translation>&amp;Language</translation>
    </message>
    <message>
        <source>Resource keys</source>
        <translation>Resource keys</translation>
    </message>
    <message>
        <source>all</source>
        <translation>all</translation>
    </message>
    <message>
        <source>subscribers</source>
        <translation>subscribers</translation>
    </message>
    <message>
        <source>mini frame</source>
        <translation>mini frame</translation>
    </message>
    <message>
        <source>main frame</source>
        <translation>main frame</translation>
    </message>
    <message>
        <source>main menu</source>
        <translation>main menu</translation>
    </message>
    <message>
        <source>dial-up</source>
        <translation>dial-up</translation>
    </message>
    <message>
        <source>notification service</source>
        <translation>notification service</translation>
    </message>
    <message>
        <source>Device state</source>
        <translation>Device state</translation>
    </message>
    <message>
        <source>Data connection up</source>
        <translation>Data connection up</translation>
    </message>
    <message>
        <source>Notifications:</source>
        <translation>Notifications:</translation>
    </message>
    <message>
        <source>Menu: %1</source>
        <translation>Menu: %1</translation>
    </message>
    <message>
        <source>Radio switch changed</source>
        <translation>Radio switch changed</translation>
    </message>
    <message>
        <source>Devices from: %1</source>
        <translation>Devices from: %1</translation>
    </message>
    <message>
        <source>Device: none</source>
        <translation>Device: none</translation>
    </message>
    <message>
        <source>Device: changing</source>
        <translation>Device: changing</translation>
    </message>
    <message>
        <source>Device: present</source>
        <translation>Device: present</translation>
    </message>
    <message>
        <source>Device: %1</source>
        <translation>Device: %1</translation>
    </message>
    <message>
        <source>unknown</source>
        <translation>unknown</translation>
    </message>
    <message>
        <source>SIM: %1</source>
        <translation>SIM: %1</translation>
    </message>
    <message>
        <source>ready</source>
        <translation>ready</translation>
    </message>
    <message>
        <source>not ready</source>
        <translation>not ready</translation>
    </message>
    <message>
        <source>Radio: %1</source>
        <translation>Radio: %1</translation>
    </message>
    <message>
        <source>on</source>
        <translation>on</translation>
    </message>
    <message>
        <source>off</source>
        <translation>off</translation>
    </message>
    <message>
        <source>Choose device...</source>
        <translation>Choose device...</translation>
    </message>
    <message>
        <source>Verify PIN...</source>
        <translation>Verify PIN...</translation>
    </message>
    <message>
        <source>Enable PIN...</source>
        <translation>Enable PIN...</translation>
    </message>
    <message>
        <source>Disable PIN...</source>
        <translation>Disable PIN...</translation>
    </message>
    <message>
        <source>Change PIN...</source>
        <translation>Change PIN...</translation>
    </message>
    <message>
        <source>Unblock PIN...</source>
        <translation>Unblock PIN...</translation>
    </message>
    <message>
        <source>Radio on</source>
        <translation>Radio on</translation>
    </message>
    <message>
        <source>Radio off</source>
        <translation>Radio off</translation>
    </message>
    <message>
        <source>Go offline</source>
        <translation>Go offline</translation>
    </message>
    <message>
        <source>Detach packet data</source>
        <translation>Detach packet data</translation>
    </message>
    <message>
        <source>Detect devices</source>
        <translation>Detect devices</translation>
    </message>
</context>
<context>
    <name>VirtualCardPanel</name>
    <message>
        <source>yes</source>
        <translation>yes</translation>
    </message>
    <message>
        <source>no</source>
        <translation>no</translation>
    </message>
    <message>
        <source>on</source>
        <translation>on</translation>
    </message>
    <message>
        <source>off</source>
        <translation>off</translation>
    </message>
    <message>
        <source>usable</source>
        <translation>usable</translation>
    </message>
    <message>
        <source>not usable</source>
        <translation>not usable</translation>
    </message>
    <message>
        <source>PIN off</source>
        <translation>PIN off</translation>
    </message>
    <message>
        <source>PIN verified</source>
        <translation>PIN verified</translation>
    </message>
    <message>
        <source>PIN required</source>
        <translation>PIN required</translation>
    </message>
    <message>
        <source>PUK required</source>
        <translation>PUK required</translation>
    </message>
    <message>
        <source>SIM blocked</source>
        <translation>SIM blocked</translation>
    </message>
    <message>
        <source>plugged</source>
        <translation>plugged</translation>
    </message>
    <message>
        <source>unplugged</source>
        <translation>unplugged</translation>
    </message>
    <message>
        <source>in use</source>
        <translation>in use</translation>
    </message>
    <message>
        <source>SIM %1</source>
        <translation>SIM %1</translation>
    </message>
    <message>
        <source>%1 PIN / %2 PUK tries left</source>
        <translation>%1 PIN / %2 PUK tries left</translation>
    </message>
    <message>
        <source>offline</source>
        <translation>offline</translation>
    </message>
    <message>
        <source>packet data detached</source>
        <translation>packet data detached</translation>
    </message>
    <message>
        <source>fingerprint locked</source>
        <translation>fingerprint locked</translation>
    </message>
    <message>
        <source>%1 on port %2: %3</source>
        <translation>%1 on port %2: %3</translation>
    </message>
    <message>
        <source>Virtual card</source>
        <translation>Virtual card</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Plugged</source>
        <translation>Plugged</translation>
    </message>
    <message>
        <source>In use</source>
        <translation>In use</translation>
    </message>
    <message>
        <source>SIM</source>
        <translation>SIM</translation>
    </message>
    <message>
        <source>PIN</source>
        <translation>PIN</translation>
    </message>
    <message>
        <source>Radio hw/sw</source>
        <translation>Radio hw/sw</translation>
    </message>
    <message>
        <source>Plug</source>
        <translation>Plug</translation>
    </message>
    <message>
        <source>Unplug</source>
        <translation>Unplug</translation>
    </message>
    <message>
        <source>Add card</source>
        <translation>Add card</translation>
    </message>
    <message>
        <source>Hardware radio switch on</source>
        <translation>Hardware radio switch on</translation>
    </message>
    <message>
        <source>SIM state word:</source>
        <translation>SIM state word:</translation>
    </message>
    <message>
        <source>1-254 usable</source>
        <translation>1-254 usable</translation>
    </message>
    <message>
        <source>Apply</source>
        <translation>Apply</translation>
    </message>
    <message>
        <source>Fingerprint state:</source>
        <translation>Fingerprint state:</translation>
    </message>
    <message>
        <source>0 (good finger)</source>
        <translation>0 (good finger)</translation>
    </message>
    <message>
        <source>Touch</source>
        <translation>Touch</translation>
    </message>
    <message>
        <source>No card</source>
        <translation>No card</translation>
    </message>
    <message>
        <source>Card in use: %1</source>
        <translation>Card in use: %1</translation>
    </message>
    <message>
        <source>No card in use</source>
        <translation>No card in use</translation>
    </message>
    <message>
        <source>Unplug &quot;%1&quot;?</source>
        <translation>Unplug &quot;%1&quot;?</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>Virtual Card %1</source>
        <translation>Virtual Card %1</translation>
    </message>
</context>
</TS>
