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
