#!/usr/bin/env bats
load device.bash

@test "the router says what it is" {
    same "$(qsc get Device.DeviceInfo Manufacturer ManufacturerOUI ModelName Description ProductClass SerialNumber \
        HardwareVersion SoftwareVersion)" "Manufacturer    = Example Networks
ManufacturerOUI = 02005E
ModelName       = AX3000
Description     = Example Router 24.10.4
ProductClass    = example,ax3000
SerialNumber    = EX2611000042
HardwareVersion = v1
SoftwareVersion = 24.10.4"
    same "$(journal)" "/usr/sbin/fw_printenv -n manufacturer
/usr/sbin/fw_printenv -n ethaddr
/usr/sbin/fw_printenv -n model
/usr/sbin/fw_printenv -n serial"
}

@test "without the boot loader's environment the files answer" {
    rm "$state/usr/sbin/fw_printenv"
    same "$(qsc get Device.DeviceInfo Manufacturer ManufacturerOUI ModelName SerialNumber)" "Manufacturer    = Example
ManufacturerOUI = 
ModelName       = Generic
SerialNumber    = "
    same "$(qsc -v get Device.DeviceInfo 2>&1 | grep -c 'fw_printenv is not installed')" 1
    rm "$state/etc/device_info"
    same "$(qsc -q get Device.DeviceInfo Manufacturer ModelName)" "Example
Example AX3000"
    rm -r "$state/etc/openwrt_release" "$state/tmp/sysinfo"
    same "$(qsc -q get Device.DeviceInfo Manufacturer ModelName SoftwareVersion | tr '\n' ';')" ";;;"
}

@test "names are checked, stored and made known" {
    qsc set Device.DeviceInfo HostName=gate FriendlyName='Up the stairs' ProvisioningCode=A-17 --apply
    same "$(journal)" "/etc/init.d/system restart"
    grep -q "option hostname 'gate'" "$state/etc/config/system"
    same "$(events)" "set device info ProvisioningCode A-17 by CLI
set device info HostName gate by CLI
set device info FriendlyName Up the stairs by CLI"
    # Nothing of a request is stored when one of its values is refused.
    run qsc set Device.DeviceInfo ProvisioningCode=B HostName=a_b
    same "$status $output" "1 qsc: Device.DeviceInfo: HostName: 'a_b' is no host name"
    same "$(qsc -q get Device.DeviceInfo ProvisioningCode HostName)" "A-17
gate"
    run qsc set Device.DeviceInfo SerialNumber=1
    [ "$status" -ne 0 ]
    run qsc set Device.DeviceInfo FriendlyName="$(printf '%033d' 0)"
    same "$output" "qsc: Device.DeviceInfo: FriendlyName: it has 33 characters, not at most 32"
}

@test "memory, processes and flash are numbers that fit each other" {
    qsc -q get Device.DeviceInfo.MemoryStatus Total Free X_QRN_Available | {
        read -r total && read -r free && read -r available
        [ "$total" -gt 0 ] && [ "$free" -le "$total" ] && [ "$available" -le "$total" ]
    }
    qsc -q get Device.DeviceInfo.X_QRN_FlashStatus Total Free Used UsedPercent | {
        read -r total && read -r free && read -r used && read -r percent
        [ $((free + used)) -eq "$total" ] && [ "$percent" -ge 0 ] && [ "$percent" -le 100 ]
    }
    qsc -q get Device.DeviceInfo.ProcessStatus CPUUsage ProcessNumberOfEntries X_QRN_LoadAverage | {
        read -r usage && read -r processes && read -r load
        [ "$usage" -ge 0 ] && [ "$usage" -le 100 ] && [ "$processes" -ge 2 ] && [[ $load == *.*,*.*,*.* ]]
    }
    run qsc set Device.DeviceInfo.MemoryStatus Free=1
    [ "$status" -ne 0 ]
}
