@echo off
title Cobalt
cmd /k
