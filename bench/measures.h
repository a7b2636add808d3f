#pragma once

class Table;

// Each adds rows to the table, and takes some seconds.

void MeasurePing(Table& table);
void MeasureControl(Table& table);
void MeasureFreshConnections(Table& table);
void MeasureNotifications(Table& table);
void MeasureRecordings(Table& table);
void MeasurePlays(Table& table);
void MeasureStartUp(Table& table);
void MeasureIdleConsole(Table& table);
void MeasureConsoleWork(Table& table);
void MeasureGrowth(Table& table);
