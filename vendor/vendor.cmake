# Everything that a vendor changes, with Vendor.h beside it. For another vendor, copy the folder, change the values and
# build by -DSCANKELV_VENDOR=FOLDER. CMake and installers take the values from here; C++ sources and scripts take them
# from VendorNames.h, which the build writes (cmake/Vendor.cmake). "Fixed" is what must stay as it is after the first
# release: installed drivers, agents and uninstallers go by it.

# The version of the program, the packages and the log: four numbers.
set(VENDOR_VERSION 1.1.39.0)

# Texts that people read: in the version information and in installers. Any characters.
set(VENDOR_COMPANY "Quellon")
set(VENDOR_PRODUCT "ScanKELV")
set(VENDOR_DESCRIPTION "ScanKELV device-list agent") # of the program's file
set(VENDOR_COPYRIGHT "The ScanKELV authors")

# Names of files. The driver starts PROGRAM.exe by its path: fixed, as is PROGRAM.ini beside it. The updater's and the
# library's names may change when all three files are replaced together.
set(VENDOR_PROGRAM "ScanKELV")    # PROGRAM.exe, PROGRAM.ini; named in the log
set(VENDOR_LIBRARY "FindwellDlg") # LIBRARY.dll, the search library
set(VENDOR_UPDATER "Hueward")     # UPDATER.exe, the colour-profile updater
set(VENDOR_SHORT_NAME "KELV")     # the program in the log's other lines

# Where an installer puts the files: a folder of this name below Program Files. UPGRADE_CODE tells Windows Installer
# which product a new version replaces: fixed.
set(VENDOR_INSTALLATION_FOLDER "ScanKELV")
set(VENDOR_UPGRADE_CODE "{C5B0E7A4-6F1D-4E02-9B7A-2D84F30C615E}")

# Where the program stores, and the driver reads: fixed.
set(VENDOR_DRIVER_STORE "QLScan")             # Software\DRIVER_STORE in the registry, ProgramData\DRIVER_STORE
# The generic driver: its key and folder below DRIVER_STORE, and the product when no other one is set.
set(VENDOR_DEFAULT_PRODUCT "Quellon Generic Scan Driver")
set(VENDOR_DATA_FOLDER [[Quellon\ScanKELV]])  # below ProgramData: device.xml, opened to every user
set(VENDOR_LOG_FOLDER "ScanKELV")             # below %LOCALAPPDATA%: Debug.ini, Log.txt

# The named object by which agents and uninstallers know of each other: fixed, and another one for each product.
set(VENDOR_INSTANCE_GUARD "{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}")
