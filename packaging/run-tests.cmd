@echo off
rem run-tests.cmd [/y]: runs the test programs on a Windows machine that holds nothing of value. /y does not ask.
rem Exit code: 0 all passed, 1 a test failed, 2 refused.
setlocal
set PLACES="C:\ProgramData\@VENDOR_DRIVER_STORE@" "C:\ProgramData\@VENDOR_DATA_FOLDER@\.."
set PLACES=%PLACES% "%LOCALAPPDATA%\@VENDOR_LOG_FOLDER@"
set KEYS=HKCU\Software\@VENDOR_DRIVER_STORE@ HKLM\Software\@VENDOR_DRIVER_STORE@ HKCU\Software\ScanKELVTests
set CODE=2
pushd "%~dp0"

echo The tests of @VENDOR_PROGRAM@ @VENDOR_VERSION@ write the following, and remove it at the end:
for %%K in (%KEYS%) do echo   %%K
for %%P in (%PLACES%) do echo   %%~fP
echo They also write to this folder and to "%TEMP%". A fresh virtual machine is meant.
echo.
for %%K in (%KEYS%) do call :look_for %%K
for %%P in (%PLACES%) do if exist "%%~fP" call :refuse %%~fP exists
if not exist tests\*_*.exe call :refuse no test programs here: unpack the whole archive
if defined REFUSED goto end
if not "%~1"=="/y" echo Close this window, or go on.& pause
type nul >run-tests.part
if not exist run-tests.part call :refuse this folder cannot be written
if defined REFUSED goto end
reg add HKLM\Software\@VENDOR_DRIVER_STORE@ /f >nul 2>&1
if errorlevel 1 call :refuse HKLM cannot be written: start as an administrator
if defined REFUSED goto end

if exist run-tests.log del run-tests.log
set CODE=0
set SCANKELV_TESTS_MAY_WRITE=1
for /f "delims=" %%V in ('ver') do set "WINDOWS=%%V"
for /f "tokens=3" %%C in ('reg query HKLM\SYSTEM\CurrentControlSet\Control\Nls\CodePage /v ACP') do set ACP=%%C
call :say "@VENDOR_PROGRAM@ @VENDOR_VERSION@, @ARCHITECTURE@; %WINDOWS%, %PROCESSOR_ARCHITECTURE%, code page %ACP%"
for %%T in (tests\*_*.exe) do call :run %%~nT
del run-tests.part
echo.
echo The lines above, and what failed: "%~dp0run-tests.log"

for %%K in (%KEYS%) do for %%V in ("" /reg:32 /reg:64) do reg delete %%K /f %%~V >nul 2>&1
for %%P in (%PLACES%) do if exist "%%~fP" rmdir /s /q "%%~fP"
:end
popd
if not "%~1"=="/y" pause
exit /b %CODE%

:look_for KEY
set FOUND=
for %%V in ("" /reg:32 /reg:64) do (
    reg query %1 %%~V >nul 2>&1
    if not errorlevel 1 set FOUND=1
)
if defined FOUND call :refuse %1 exists
exit /b

:refuse TEXT
echo refused: %*
set REFUSED=1
exit /b

:say "TEXT"
echo %~1
>>run-tests.log echo %~1
exit /b

:run NAME
tests\%1.exe --gtest_brief=1 >run-tests.part 2>&1
set RESULT=%ERRORLEVEL%
set OUTCOME=ended before its last test
set ALL=
for /f "tokens=2" %%N in ('find "[==========]" ^<run-tests.part') do set ALL=%%N
for /f "tokens=4" %%N in ('find "[  PASSED  ]" ^<run-tests.part') do set PASSED=%%N
if defined ALL set /a FAILED=ALL-PASSED
if defined ALL set OUTCOME=%PASSED% passed, %FAILED% failed
call :say "%1: %OUTCOME%, exit code %RESULT%"
if "%OUTCOME%, %RESULT%"=="%ALL% passed, 0 failed, 0" exit /b
set CODE=1
type run-tests.part >>run-tests.log
exit /b
