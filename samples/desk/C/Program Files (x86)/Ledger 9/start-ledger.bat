@echo off
start "" "%~dp0ledger.jar"
